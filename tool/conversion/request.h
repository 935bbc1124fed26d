// A request for a conversion: the store, the releases, and what the operator permits. The command line contains it, and
// so does the report of a dry run, as a plan: then it has absolute paths and the hash of the records. `convert --plan`
// refuses a store with other records.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"
#include "tool/support/json.h"

namespace vrrpconvert {

struct Request {
  std::string tool{};                   // version of the tool that made the plan
  std::string root{};                   // directory to use as the device's /; empty for /
  std::string directory{};              // contains the store
  std::string from{}, to{};             // releases
  uint32 vdc = 1;                       // VDC number, 1 to 65535
  bool startup = false;                 // inspect the saved startup store
  std::string hash{};                   // hash_of_records(); empty if there is no plan
  std::vector<std::string> accepted{};  // names of losses
  std::vector<std::string> defaults{};  // "FIELD=VALUE" or "FIELD=OTHER"
  bool allow_loss = false;              // any loss, and records that would fail
  bool allow_mismatch = false;
  bool no_backup = false;

  JSON_MEMBERS(tool, root, directory, from, to, vdc, startup, hash, accepted, defaults, allow_loss, allow_mismatch,
               no_backup)
};

// Returns the name of the file in messages.
inline std::string name_of_plan(const std::string& file) { return file == "-" ? "standard input" : file; }

// Reads the plan in a saved report; "-" is standard input. Throws Error, also for a plan of another version of the
// tool, which may convert differently. The members of the plan are complete; a Conversion verifies their values.
Request read_plan(const std::string& file);

}  // namespace vrrpconvert
