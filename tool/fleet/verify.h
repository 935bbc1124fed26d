// Comparison of stores with their backups, after an upgrade and the new configuration.
#pragma once

#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Compares each store with its last backup, in the fields that both layouts have. Every input becomes a device whose
// reason is "identical", "differs", "not_configured", "no_backup", or the reason of an error.
std::vector<Device> verify_stores(const std::vector<Input>& inputs);

}  // namespace vrrpconvert
