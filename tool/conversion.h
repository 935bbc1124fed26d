// One run of the library: the surroundings that the system manager gives it, the call, and what its trace tells.
#ifndef TOOL_CONVERSION_H
#define TOOL_CONVERSION_H

#include <filesystem>
#include <string>

#include "platform/types.h"
#include "tool/release.h"
#include "tool/traced_outcomes.h"

namespace vrrpconvert {

enum class Change { none, upgrade, downgrade };

struct Conversion {
  std::filesystem::path root;  // what stands for the device's /
  std::string path;            // the folder that is handed to the library, below the root
  Release from, to;
  unsigned vdc = 1;
  bool startup = false;

  Change change() const;
  std::string store_name() const { return startup ? "bin/vrrp-cfg_config_sav" : "vrrp-cfg_runtime_config"; }
  std::filesystem::path folder() const { return root / std::filesystem::path(path).relative_path(); }
  std::filesystem::path store() const { return folder() / store_name(); }
  std::filesystem::path snapshot() const;
};

// What came of a run. The trace is that of this very run, as far as it could be read.
struct Run {
  bool answered = false;  // false: the process that ran the library died before it answered
  bool interrupted = false;
  syserr_t result = 0;
  TracedOutcomes outcomes;
};

// Where the library traces to.
enum class Trace {
  to_file,      // `trace_file`, appended
  as_always,    // the library's own log, if there is one
  kept_private  // nowhere that lasts
};

// Makes sure that the trace can go to `file`, and is no store. Throws Error.
void check_trace_file(const Conversion& conversion, const std::string& file);

// Runs the conversion in a process of its own, so that an interrupt ends it at once and the store stays as it was.
// `expected_lines` is for the progress bar. Throws Error when the run cannot be prepared.
Run run_conversion(const Conversion& conversion, Trace trace, const std::string& trace_file, size_t expected_lines);

}  // namespace vrrpconvert

#endif
