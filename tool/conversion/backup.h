// The backup of a store that is written next to it before it is changed.
#pragma once

#include <filesystem>
#include <string>

#include "tool/conversion/release.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// Writes the records of `original` to the first free name STORE.from-4.2-1, STORE.from-4.2-1.2, ..., durably. Returns
// the name. Throws Error.
std::filesystem::path write_backup(const Store& original, const std::filesystem::path& store, const Release& from);

// Returns the release in the name of a backup, "4.2(1)", or an empty string for another name.
std::string release_of_backup(const std::string& name);

}  // namespace vrrpconvert
