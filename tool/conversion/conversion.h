// One run of the library: the environment that the system manager gives it, the call, and what came of it.
#ifndef TOOL_CONVERSION_CONVERSION_H
#define TOOL_CONVERSION_CONVERSION_H

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "platform/types.h"
#include "tool/conversion/release.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// The name of a running store in its directory.
extern const char* const running_store;

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

// What came of a run.
struct Run {
  bool answered = false;  // false: the process that ran the library ended before it answered
  bool interrupted = false;
  bool was_changed = false;  // the store was not the expected one, and the library did not get it
  bool has_snapshot = false;
  syserr_t result = 0;
  syserr_t open_status = 0, snapshot_status = 0, close_status = 0;
  std::filesystem::path earlier_snapshot;  // under the name that it has now, if there was one
  std::optional<StoreDigest> closed;       // of the store when the library closed it
  size_t operations = 0;                   // records that the library stored or deleted, or tried to
  std::map<Bytes, syserr_t> failures;      // of those, by key
};

// Where the library traces to.
enum class Trace {
  to_file,     // a file of the operator's, appended
  device_log,  // the library's own log, if there is one
  none
};

// Throws Error unless the trace can go to `file`, which is then no store, and not named like one. Creates nothing.
void check_trace_file(const Conversion& conversion, const std::string& file);

// Creates it where there is none, so that nothing else takes its name. Throws Error.
void create_trace_file(const std::string& file);

struct RunOptions {
  StoreDigest expected;  // of the store: another one is not converted
  Trace trace = Trace::none;
  std::string trace_file{};
  size_t expected_operations = 0;  // 0: not known
};

// Both run the conversion in a process of its own, so that an interrupt ends it at once and the store stays as it was.
// They throw Error when the run cannot be prepared.
Run run_conversion(const Conversion& conversion, const RunOptions& options);

// Converts `original`, whose image afterwards goes to the file `result`, and touches no other file.
Run run_dry(const Conversion& conversion, const Store& original, int result);

}  // namespace vrrpconvert

#endif
