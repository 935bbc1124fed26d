// What a conversion by the device itself left: backups, snapshots, temporary files, and the trace log.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/backup.h"
#include "tool/trace/call.h"

namespace vrrpconvert {

struct Evidence {
  std::vector<Backup> files{};                  // backups, replaced stores and snapshots of this VDC
  std::vector<std::string> unreadable_files{};  // each with the reason
  std::vector<std::string> unfinished_files{};  // that a process left
  std::string log{};                            // the trace log; empty if there is none
  std::optional<Call> call{};                   // the last global synchronisation of this store in the log
  size_t record_count_in_log = 0;               // the largest number that a conversion read or changed
  std::vector<std::string> contradictions{};    // between the store and the log; the store counts
  std::string next{};                           // next step for the operator
};
void to_json(Json& json, const Evidence& evidence);

// Returns the directory that is / on the device with this store: `given`, or the directory of the store, or the one
// above, that contains tmp or bootflash. The one above several stores is not the root of a device.
std::filesystem::path device_root_of(const std::filesystem::path& store, const std::string& given);

// Finds the evidence next to `store_file` and below `root`. `store` has the records of that file. Nothing in a file
// ends the search.
Evidence evidence_for(const std::filesystem::path& store_file, const Store& store, const std::filesystem::path& root);

// Returns the file to go back to: the snapshot of the call, the source of the last conversion, or the file with most
// records. Returns null if no file has VR configurations or addresses.
const Backup* best_source(const Evidence& evidence, const std::filesystem::path& store_file);

// Returns the source of the last conversion that left one: the backup with the highest number, or else a snapshot. A
// replaced store STORE.N tells nothing about a conversion. Returns null if there is none.
const Backup* last_source(const Evidence& evidence, const std::filesystem::path& store_file);

}  // namespace vrrpconvert
