// The backups of a store, and all files that it can be restored from: backups, replaced stores and snapshots.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/release.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

// Writes the records of `original` to the first free name STORE.from-4.2-1, STORE.from-4.2-1.2, ..., durably. Returns
// the name. Throws Error.
std::filesystem::path write_backup(const Store& original, const std::filesystem::path& store, const Release& from);

struct RestoreSource {
  std::string file;
  std::string release;  // that wrote it, if its name says so
  RecordCounts records;

  // "FILE: of 4.2(1), 5 vr (5 new), 7 ip_assoc (7 new)"
  std::string text() const;

  JSON_MEMBERS(file, release, records)
};

// Counts the records of a file, or returns nothing if a store should not be restored from it. May throw Error.
using CountRecords = std::function<std::optional<RecordCounts>(const std::filesystem::path&)>;

// Returns the backups of `store` and the stores that it replaced, in the order of their names; with `snapshot`, also
// that file and the earlier snapshots that it replaced. Files for which `count` throws are left out.
std::vector<RestoreSource> restore_sources(const std::filesystem::path& store, const std::filesystem::path& snapshot,
                                           const CountRecords& count);

}  // namespace vrrpconvert
