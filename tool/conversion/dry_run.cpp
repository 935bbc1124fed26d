#include "tool/conversion/dry_run.h"

#include "platform/syserr.h"
#include "tool/store/record_counts.h"
#include "tool/support/error.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {
namespace {

// The library handles the global info record and every record of the two kinds that have layouts.
size_t expected_operations(Change change, const Store& store) {
  if (change == Change::none) return 0;
  const RecordCounts counts = count_records(store);
  return 1 + counts.of("vr") + counts.of("ip_assoc");
}

// A dry run that did not go through says nothing of the conversion, least of all that nothing would be lost.
void require_complete(const Conversion& conversion, const Run& run, const Store& before) {
  std::string problem;
  if (!run.answered) {
    problem = "the library ended before it was done";
  } else if (!run.closed) {
    problem = "the library could not open the copy";
  } else if (run.close_status != 0) {
    problem = syserr2str(run.close_status);
  } else if (run.operations != expected_operations(conversion.change(), before)) {
    problem = "the library did not convert every record; there may be too little memory";
  }
  if (problem.empty()) return;
  throw Error(exit_io, conversion.store().string() + ": the dry run failed: " + problem + "; nothing was changed",
              "not_examined", conversion.store().string());
}

}  // namespace

DryRun::DryRun(const Conversion& conversion) : before_(conversion.store()) {
  const MemoryFile result;
  run_ = run_dry(conversion, before_, result.descriptor());
  if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
  require_complete(conversion, run_, before_);
  after_.emplace(result.descriptor(), conversion.store());
}

}  // namespace vrrpconvert
