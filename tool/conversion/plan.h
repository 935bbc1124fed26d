// A plan: the store, releases and options of a dry run, and the records that it examined. It is a member of the dry
// run's report, and `convert --plan` converts these records in this way, or nothing.
#pragma once

#include <string>
#include <vector>

#include "tool/conversion/sequence.h"

namespace vrrpconvert {

struct Plan {
  std::string tool{};               // the version of the tool that made it
  std::string root{}, directory{};  // absolute
  std::string from{}, to{};
  uint32 vdc = 1;
  bool startup = false;
  std::string records{}, checksum{};  // the digest of the records: a decimal and a hexadecimal number
  std::vector<std::string> accepted{}, defaults{};
  bool allow_loss = false, allow_mismatch = false, backup = true;

  JSON_MEMBERS(tool, root, directory, from, to, vdc, startup, records, checksum, accepted, defaults, allow_loss,
               allow_mismatch, backup)

  // Throws std::exception if the text is no digest.
  StoreDigest digest() const;
};

// The plan of a dry run that read `before`, as JSON. It is null if a path is not UTF-8, so that JSON cannot have it.
Json plan_of(const Conversion& conversion, const ConversionRequest& request, const Store& before);

// Reads the plan in the report in a file, or on standard input for "-". Throws Error, also for a plan of another
// version of the tool: another version may convert in another way than was approved.
Plan read_plan(const std::string& file);

}  // namespace vrrpconvert
