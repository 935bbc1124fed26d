// The search for the stores, or the reports, of the devices of a fleet.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vrrpconvert {

struct Input {
  std::string name;            // of the device
  std::filesystem::path file;  // its store or its report; empty if there is none
  std::string problem{};       // then why
};

enum class InputKind { stores, reports };

// Searches below each of `paths`, without following symbolic links, and returns what it found by name. A device is
// named after its directory below the path, or after its report. A path without inputs and a directory that cannot be
// read are inputs with a problem, so that no device is left out silently. Throws Error if the operator interrupts.
std::vector<Input> find_inputs(const std::vector<std::string>& paths, InputKind kind);

}  // namespace vrrpconvert
