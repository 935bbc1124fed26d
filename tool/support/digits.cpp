#include "tool/support/digits.h"

#include <charconv>

namespace vrrpconvert {

void append_number(uint64_t number, std::string& text) {
  char digits[20];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void append_hex(std::span<const uint8> bytes, std::string& text) {
  static constexpr char digits[] = "0123456789abcdef";
  size_t place = text.size();
  text.resize(place + 2 * bytes.size());
  for (const uint8 byte : bytes) {
    text[place++] = digits[byte >> 4];
    text[place++] = digits[byte & 15];
  }
}

std::string hex_of(std::span<const uint8> bytes) {
  std::string hex;
  append_hex(bytes, hex);
  return hex;
}

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace vrrpconvert
