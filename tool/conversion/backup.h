// Files that restore can use: backups of a store, replaced stores and snapshots.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/conversion/release.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

// Backups of a store have ascending numbers, also those of different releases: STORE.from-4.2-1 is the first one,
// STORE.from-4.1-2.2 the second one.
std::filesystem::path next_backup_name(const std::filesystem::path& store, const Release& from);

// Writes the records of `original` durably to the next name. Returns the name. Throws Error.
std::filesystem::path write_backup(const Store& original, const std::filesystem::path& store, const Release& from);

// Returns the backup with the highest number, or an empty path. Throws Error if two backups have it.
std::filesystem::path last_backup_of(const std::filesystem::path& store);

// A file that restore can use.
struct Backup {
  std::string file;
  std::string release;  // in the name of a backup, else empty
  RecordCounts counts;
  size_t lacking_count = 0;  // records whose keys the store does not have, if it was compared

  // "FILE: of 4.2(1), 5 vr (5 new), 7 ip_assoc (7 new)"
  std::string text() const;

  JSON_MEMBERS(file, release, counts, lacking_count)
};

// Returns those of `files` that can be read. `lacking_count` is the number of their keys that `store` does not have.
// Adds the other ones with the reason to `unreadable`, unless that is null.
std::vector<Backup> readable_backups(const std::vector<std::filesystem::path>& files, const Store& store,
                                     std::vector<std::string>* unreadable = nullptr);

// Returns those of them that have other keys than the store.
std::vector<Backup> with_other_records(const std::vector<std::filesystem::path>& files, const Store& store);

// Returns whether `file` has the name of a backup, or of a replaced store STORE.N next to its store.
bool has_backup_name(const std::filesystem::path& file);

// Returns the release in the name of a backup, "4.2(1)", or an empty text for any other name.
std::string release_in_name(const std::filesystem::path& file);

// Returns the snapshots in `directory`, tmp on a device, and the earlier ones that were renamed.
std::vector<std::filesystem::path> snapshots_in(const std::filesystem::path& directory);

// Returns the names of the backups of `store` and of the replaced stores STORE.N, in order.
std::vector<std::filesystem::path> backups_of(const std::filesystem::path& store);

}  // namespace vrrpconvert
