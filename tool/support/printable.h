// Safe output of texts from outside: file names, and reports of other machines.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vrrpconvert {

// Returns `text` as valid UTF-8. Escapes control characters, line breaks, bidirectional formatting characters and bytes
// that are not UTF-8, like \x1b.
std::string printable(std::string_view text);
inline std::string printable(const std::string& text) { return printable(std::string_view(text)); }
inline std::string printable(const std::filesystem::path& path) { return printable(path.native()); }

// Returns at most `size` bytes of a printable text; if it is longer, it ends in "...". `size` is at least 3.
std::string shortened(const std::string& text, size_t size);

bool is_utf8(std::string_view text);

// Returns a path as one word of a shell command that can be printed and pasted: with control characters as $'...'.
std::string quoted_for_shell(const std::string& path);

}  // namespace vrrpconvert
