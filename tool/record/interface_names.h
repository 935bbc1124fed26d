// Names of interfaces for texts: operators know no interface index.
#pragma once

#include <string>

#include "platform/types.h"

namespace vrrpconvert {

// Reads lines with an interface index and a name, "0x100000a Vlan10". Skips empty lines and comments (#). Throws Error.
void read_interface_names(const std::string& file);

// Returns the name of the interface, or "0x10" if it has none.
std::string interface_text(uint32 ifindex);

}  // namespace vrrpconvert
