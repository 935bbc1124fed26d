// Comparison of stores with their backups, after an upgrade and the new configuration.
#pragma once

#include <string>
#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

struct VerifyOptions {
  std::string against{};  // another backup: a path, or a pattern for the names next to each store
  std::string root{};     // the device's /, with the snapshot; empty for the directory of each store
};

// Returns the file to compare with a store: the chosen one, else the backup with the highest number, else the snapshot
// of the last upgrade; an empty path if there is none. Throws Error if the choice is not unique.
std::filesystem::path backup_to_compare(const std::filesystem::path& store, const VerifyOptions& options);

// Compares each store with its backup, in the fields that both layouts have. Every input becomes a device whose reason
// is "identical", "differs", "not_converted", "not_configured", "no_backup", or the reason of an error.
std::vector<Device> verify_stores(const std::vector<Input>& inputs, const VerifyOptions& options);

}  // namespace vrrpconvert
