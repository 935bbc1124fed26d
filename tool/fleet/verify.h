// The comparison of stores with their backups, after an upgrade and after the configuration was entered again.
#pragma once

#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Compares each store with the backup next to it that was written last, but for what only one layout has. Every input
// becomes a device whose reason is "identical", "differs", "not_configured", "no_backup", or that of an error. Throws
// Error if the operator interrupts.
std::vector<Device> verify_stores(const std::vector<Input>& inputs);

}  // namespace vrrpconvert
