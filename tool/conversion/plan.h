// A plan: the store, releases and options of a dry run, and the hash of the records. It is a member of the dry run's
// report. `convert --plan` uses these options, and refuses a store with other records.
#pragma once

#include <string>
#include <vector>

#include "tool/conversion/sequence.h"

namespace vrrpconvert {

struct Plan {
  std::string tool{};               // version of the tool
  std::string root{}, directory{};  // absolute paths
  std::string from{}, to{};
  uint32 vdc = 1;
  bool startup = false;
  std::string hash{};  // hash_of_records()
  std::vector<std::string> accepted{}, defaults{};
  bool allow_loss = false, allow_mismatch = false, backup = true;

  JSON_MEMBERS(tool, root, directory, from, to, vdc, startup, hash, accepted, defaults, allow_loss, allow_mismatch,
               backup)
};

// Returns the plan of a dry run of `before` as JSON, or null if a path is not UTF-8.
Json plan_of(const Conversion& conversion, const ConversionRequest& request, const Store& before);

// Reads the plan in a saved report; "-" is standard input. Throws Error, also for a plan of another version of the
// tool, which may convert differently.
Plan read_plan(const std::string& file);

}  // namespace vrrpconvert
