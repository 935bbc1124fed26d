// The search for the stores or the reports of the devices of a fleet.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/support/reason.h"

namespace vrrpconvert {

struct Input {
  std::string name;            // of the device
  std::filesystem::path file;  // store or report, or empty
  Ending ending{};             // if `file` is empty: why
};

enum class InputKind { stores, reports };

// Searches each of `paths` recursively, without following symbolic links, and returns the inputs by name. A device has
// the name of its directory below the path (DEVICE, not DEVICE/flash), or of its
// report. The search omits no device silently. These are inputs
// with a problem: a path without inputs, an unreadable directory, a directory without stores directly below a path that
// is not a device itself, and a name in the file `expected` ("" for no file) that no input has. Throws Error.
std::vector<Input> find_inputs(const std::vector<std::string>& paths, InputKind kind, const std::string& expected = "");

}  // namespace vrrpconvert
