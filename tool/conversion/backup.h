// Files that restore can use: backups of a store, replaced stores and snapshots.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/conversion/release.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

// Returns the first free name STORE.from-4.2-1, STORE.from-4.2-1.2, ...
std::filesystem::path free_backup_name(const std::filesystem::path& store, const Release& from);

// Writes the records of `original` durably to the first free name STORE.from-4.2-1, STORE.from-4.2-1.2, ... Returns the
// name. Throws Error.
std::filesystem::path write_backup(const Store& original, const std::filesystem::path& store, const Release& from);

// A file that restore can use.
struct Backup {
  std::string file;
  std::string release;  // in the name of a backup, else empty
  RecordCounts counts;

  // "FILE: of 4.2(1), 5 vr (5 new), 7 ip_assoc (7 new)"
  std::string text() const;

  JSON_MEMBERS(file, release, counts)
};

// Returns the release in the name of a backup, "4.2(1)", or an empty text for any other name.
std::string release_in_name(const std::filesystem::path& file);

// Returns the names of the backups of `store` and of the replaced stores STORE.N, in order.
std::vector<std::filesystem::path> backups_of(const std::filesystem::path& store);

}  // namespace vrrpconvert
