// Worker processes that perform the dry runs of a fleet. A crash of the library, or a store on which it hangs, costs
// one device.
#pragma once

#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Performs a dry run of each store, in `jobs` workers at most. `conversion` has the releases and the permissions. Every
// input becomes a device, in this order. Throws Error if no worker can be started.
std::vector<Device> run_dry_runs(const Conversion& conversion, const std::vector<Input>& inputs, unsigned jobs);

}  // namespace vrrpconvert
