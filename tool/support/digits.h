// Numbers and bytes as digits.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace vrrpconvert {

void append_number(uint64_t number, std::string& text);

// Two hexadecimal digits a byte.
void append_hex(std::span<const uint8> bytes, std::string& text);
std::string hex_of(std::span<const uint8> bytes);
inline std::string hex_of(std::string_view text) {
  return hex_of(std::span(reinterpret_cast<const uint8*>(text.data()), text.size()));
}

// Whether the text is one decimal digit or more, and nothing else.
bool is_number(std::string_view text);

// An interface index for users, "0x10".
std::string interface_text(uint32 ifindex);

}  // namespace vrrpconvert
