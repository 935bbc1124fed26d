// A conversion: the store, the releases, the defaults of the target release, and the paths that follow from them.
#pragma once

#include <filesystem>
#include <string>

#include "tool/conversion/defaults.h"
#include "tool/conversion/release.h"

namespace vrrpconvert {

// The name of a running store in its directory.
extern const char* const running_store;

enum class Change { none, upgrade, downgrade };
const char* name_of(Change change);

struct Conversion {
  std::filesystem::path root;  // what stands for the device's /
  std::string path;            // the directory that is handed to the library, below the root
  Release from, to;
  unsigned vdc = 1;
  bool startup = false;
  Defaults defaults{};  // of fields that the target release does not store

  Change change() const;
  std::filesystem::path store() const;
  std::filesystem::path snapshot() const;
};

// The path below `root` that a device knows `directory` by. Throws Error when it is not below it, or too long for the
// library.
std::string device_path(const std::filesystem::path& root, const std::filesystem::path& directory, bool startup);

}  // namespace vrrpconvert
