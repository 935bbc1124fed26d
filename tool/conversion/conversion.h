// A conversion: the store, both releases, the default values of the target release, and the paths.
#pragma once

#include <filesystem>
#include <string>

#include "tool/conversion/defaults.h"
#include "tool/conversion/release.h"

namespace vrrpconvert {

// The file name of a running store.
extern const char* const running_store;

enum class Change { none, upgrade, downgrade };
const char* name_of(Change change);

struct Conversion {
  std::filesystem::path root;  // directory to use as the device's /
  std::string path;            // directory that the library gets, relative to the root
  Release from, to;
  unsigned vdc = 1;
  bool startup = false;
  Defaults defaults{};  // default values of fields that the target release does not store

  Change change() const;
  std::filesystem::path store() const;
  std::filesystem::path snapshot() const;
};

// Returns the path of `directory` on the device, whose / is `root`. Throws Error if `directory` is not in `root`, or if
// the path is too long for the library.
std::string device_path(const std::filesystem::path& root, const std::filesystem::path& directory, bool startup);

}  // namespace vrrpconvert
