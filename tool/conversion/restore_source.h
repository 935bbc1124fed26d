// The backups and snapshots that a store can be restored from.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

struct RestoreSource {
  std::string file;
  std::string release;  // that wrote it, if its name says so
  RecordCounts records;

  // "FILE: of 4.2(1), 5 vr (5 new), 7 ip_assoc (7 new)"
  std::string text() const;

  JSON_MEMBERS(file, release, records)
};

// A store whose records are known, and their counts: a file with the same records is not counted again.
struct KnownRecords {
  StoreDigest digest;
  const RecordCounts& counts;
};

// Returns the intact stores among the backups of `store` and the stores that it replaced, in the order of their names;
// with `snapshot`, also that file and the earlier snapshots that it replaced.
std::vector<RestoreSource> restore_sources(const std::filesystem::path& store,
                                           const std::filesystem::path& snapshot = {},
                                           const KnownRecords* known = nullptr);

}  // namespace vrrpconvert
