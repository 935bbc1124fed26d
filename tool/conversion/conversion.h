// One run of the library: the environment that the system manager gives it, the call, and what its trace reports.
#ifndef TOOL_CONVERSION_CONVERSION_H
#define TOOL_CONVERSION_CONVERSION_H

#include <filesystem>
#include <string>

#include "platform/types.h"
#include "tool/conversion/release.h"
#include "tool/conversion/traced_outcomes.h"

namespace vrrpconvert {

enum class Change { none, upgrade, downgrade };

struct Conversion {
  std::filesystem::path root;  // what stands for the device's /
  std::string path;            // the directory that is handed to the library, below the root
  Release from, to;
  unsigned vdc = 1;
  bool startup = false;

  Change change() const;
  std::filesystem::path store() const;
  std::filesystem::path snapshot() const;
};

// The path below `root` that a device knows `directory` by. Throws Error when it is not below it, or too long for the
// library.
std::string device_path(const std::filesystem::path& root, const std::filesystem::path& directory, bool startup);

// What came of a run. The trace is that of this very run, as far as it could be read.
struct Run {
  bool answered = false;  // false: the process that ran the library died before it answered
  bool interrupted = false;
  syserr_t result = 0;
  TracedOutcomes outcomes;
};

// Where the library traces to.
enum class Trace {
  to_file,     // `trace_file`, appended
  device_log,  // the library's own log, if there is one
  discarded    // nowhere that lasts
};

// Makes sure that the trace can go to `file`, and is no store. Throws Error.
void check_trace_file(const Conversion& conversion, const std::string& file);

// Runs the conversion in a process of its own, so that an interrupt ends it at once and the store stays as it was.
// `expected_lines` is for the progress bar. Throws Error when the run cannot be prepared.
Run run_conversion(const Conversion& conversion, Trace trace, const std::string& trace_file, size_t expected_lines);

}  // namespace vrrpconvert

#endif
