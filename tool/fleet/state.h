// The state of a device after a conversion that its own system manager performed.
#pragma once

#include <string>
#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Returns a device for each input, with the evidence for its state. A device whose records may be lost or converted in
// part never has a good ending. `root` is the directory that is / on the device, or empty for device_root_of().
std::vector<Device> examine_states(const std::vector<Input>& inputs, const std::string& root);

}  // namespace vrrpconvert
