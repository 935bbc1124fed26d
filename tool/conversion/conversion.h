// A conversion: a request that was verified, the two releases, and the paths.
#pragma once

#include <filesystem>
#include <string>

#include "tool/conversion/defaults.h"
#include "tool/conversion/release.h"
#include "tool/conversion/request.h"

namespace vrrpconvert {

// The file name of a running store.
extern const char* const running_store;

enum class Change { none, upgrade, downgrade };
const char* name_of(Change change);

struct Conversion {
  // Verifies the request. Throws Error.
  explicit Conversion(const Request& request);

  // Selects another device's store. Throws Error as the constructor does.
  void select(const std::filesystem::path& root_directory, const std::filesystem::path& directory);

  Change change() const;
  std::filesystem::path store() const;
  std::filesystem::path snapshot() const;

  Request request;      // with absolute paths
  Release from, to;     // of the request
  Defaults defaults{};  // default values of fields that the target release does not store
  std::string path{};   // directory that the library gets, relative to the root
};

// Returns the store that the operator names: a store, or a directory that contains vrrp-cfg_runtime_config.
std::string store_at(const std::string& path);

// Returns the path of the snapshot of an upgrade on a device whose / is `root`.
std::filesystem::path snapshot_below(const std::filesystem::path& root, uint32 vdc);

// Returns whether the name is that of a snapshot, or of an earlier snapshot that was renamed.
bool is_snapshot_name(const std::filesystem::path& file);

// Returns whether the file has the name of this snapshot, or of an earlier one at its path that was renamed.
bool is_snapshot_of(const std::filesystem::path& file, const std::filesystem::path& snapshot);

}  // namespace vrrpconvert
