// The search for the stores, or the reports, of the devices of a fleet.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vrrpconvert {

struct Input {
  std::string name;                // of the device
  std::filesystem::path file;      // its store or its report; empty if there is none
  std::string problem{};           // then why,
  std::string reason = "missing";  // and a word for scripts
};

enum class InputKind { stores, reports };

// Searches below each of `paths`, without following symbolic links, and returns what it found by name. A device is
// named after its directory below the path, or after its report. No device is left out silently: a path without inputs,
// a directory that cannot be read, and a directory without stores directly below a path that is no device itself are
// inputs with a problem. So is each name in the lines of the file `expected` that no input has; "" for no file. Throws
// Error.
std::vector<Input> find_inputs(const std::vector<std::string>& paths, InputKind kind, const std::string& expected = "");

}  // namespace vrrpconvert
