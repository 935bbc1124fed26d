// Numbers and bytes as decimal and hexadecimal digits.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace vrrpconvert {

// "1 record", "2 records"
inline std::string counted(size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void append_number(uint64_t number, std::string& text);

// Appends two hexadecimal digits per byte.
void append_hex(std::span<const uint8> bytes, std::string& text);
std::string hex_of(std::span<const uint8> bytes);
inline std::string hex_of(std::string_view text) {
  return hex_of(std::span(reinterpret_cast<const uint8*>(text.data()), text.size()));
}

// Returns whether the text consists of one or more decimal digits.
bool is_number(std::string_view text);

}  // namespace vrrpconvert
