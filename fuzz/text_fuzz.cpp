// A text from another machine: a version file, a file of device names, a trace log, a plan, or a report. It is refused
// with a message or read. The first byte selects the reader.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/srg_sw_ver.h"
#include "tool/conversion/report.h"
#include "tool/conversion/request.h"
#include "tool/fleet/device.h"
#include "tool/fleet/search.h"
#include "tool/support/error.h"
#include "tool/trace/log.h"

using namespace vrrpconvert;

namespace {

const std::string file = [] {
  std::string name = std::filesystem::temp_directory_path() / "text-fuzz-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) abort();
  return name + "/text";
}();

void require(bool holds) {
  if (!holds) abort();
}

void read(char reader, const std::string& text) {
  switch (reader) {
    case 'v': {
      const char* version = srg_sw_ver_file_get(file.c_str());
      require(version == nullptr || text.starts_with(version));
      return;
    }
    case 'e':
      for (const Input& input : find_inputs({file + "-none"}, InputKind::stores, file)) require(!input.name.empty());
      return;
    case 't': {
      size_t lines = 0;
      const OtherLines others = read_trace_logs({file}, [&lines](const Call& call) {
        require(!call.time.empty() && (call.has_ended || !call.is_good()) &&
                call.failures.size() <= call.failure_count);
        ++lines;
      });
      require(lines <= text.size() / 30 && others.foreign <= text.size());
      return;
    }
    case 'p': {
      const Request plan = read_plan(file);
      require(plan.directory.starts_with('/') && plan.hash.size() == 64);
      return;
    }
    default: {
      std::istringstream stream(text);
      const std::optional<DryRunReport> report = read_dry_run_report(stream);
      require(!report || !report->ending.is_good() || is_release(report->from));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  std::ofstream(file, std::ios::binary) << text;
  try {
    read(static_cast<char>(data[0]), text);
  } catch (const Error& error) {
    require(error.what()[0] != '\0');
  }
  return 0;
}
