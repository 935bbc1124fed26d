// Numbers and bytes as digits.
#ifndef TOOL_SUPPORT_DIGITS_H
#define TOOL_SUPPORT_DIGITS_H

#include <span>
#include <string>

#include "platform/types.h"

namespace vrrpconvert {

void append_number(uint32 number, std::string& text);

// Two hexadecimal digits a byte.
void append_hex(std::span<const uint8> bytes, std::string& text);
std::string hex_of(std::span<const uint8> bytes);

// An interface index for users, "0x10".
std::string interface_text(uint32 ifindex);

}  // namespace vrrpconvert

#endif
