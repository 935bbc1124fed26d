#include "tool/support/printable.h"

#include "platform/types.h"

namespace vrrpconvert {
namespace {

struct Character {
  uint32 code;  // 0 if not UTF-8
  size_t size;  // in bytes, at least 1
};

// Returns the first character of a text that is not empty. Overlong forms and surrogates are not UTF-8.
Character first_of(std::string_view text) {
  const auto byte = [text](size_t at) { return static_cast<uint8>(text[at]); };
  const uint8 lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const size_t size = lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
  if (size == 0 || text.size() < size) return {0, 1};
  uint32 code = lead & (0x7fu >> size);
  for (size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {0, 1};
    code = code << 6 | (byte(i) & 0x3f);
  }
  const bool is_overlong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
  if (is_overlong || code > 0x10ffff || (code >= 0xd800 && code < 0xe000)) return {0, 1};
  return {code, size};
}

bool is_harmless(uint32 code) {
  const bool is_control = code < 0x20 || (code >= 0x7f && code < 0xa0);
  const bool is_line_break = code == 0x2028 || code == 0x2029;
  const bool is_direction = code == 0x61c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
                            (code >= 0x2066 && code <= 0x2069);
  return !is_control && !is_line_break && !is_direction;
}

}  // namespace

std::string printable(std::string_view text) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string shown;
  while (!text.empty()) {
    const auto [code, size] = first_of(text);
    if (is_harmless(code)) {
      shown += text.substr(0, size);
    } else {
      for (const char letter : text.substr(0, size)) {
        (((shown += "\\x") += digits[static_cast<uint8>(letter) >> 4])) += digits[letter & 15];
      }
    }
    text.remove_prefix(size);
  }
  return shown;
}

std::string shortened(const std::string& text, size_t size) {
  if (text.size() <= size) return text;
  size_t end = size - 3;
  while (end > 0 && (static_cast<uint8>(text[end]) & 0xc0) == 0x80) --end;  // not within a character
  return text.substr(0, end) + "...";
}

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const auto [code, size] = first_of(text);
    if (code == 0 && text[0] != '\0') return false;
    text.remove_prefix(size);
  }
  return true;
}

std::string quoted_for_shell(const std::string& path) {
  constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:,@%";
  if (path.find_first_not_of(plain) == std::string::npos) return path;
  std::string quoted = "'";
  if (printable(path) == path) {
    for (const char letter : path) quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    return quoted + "'";
  }
  // $'...' with escapes, as bash, zsh and ksh read it, so that the printed command can be pasted.
  for (const char letter : path)
    quoted += letter == '\'' || letter == '\\' ? std::string{'\\', letter} : std::string(1, letter);
  return '$' + printable(quoted) + "'";
}

}  // namespace vrrpconvert
