// Text from elsewhere, for people: names of files, and what other machines report.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vrrpconvert {

// The text as valid UTF-8 that moves no cursor: bytes of control characters, of marks that change the direction of
// writing, and of what is no UTF-8 are escaped, as \x1b. Line breaks too.
std::string printable(std::string_view text);
inline std::string printable(const std::string& text) { return printable(std::string_view(text)); }
inline std::string printable(const std::filesystem::path& path) { return printable(path.native()); }

bool is_utf8(std::string_view text);

// The same for a message of several lines.
std::string printable_lines(std::string_view text);

// A path as one word of a shell command.
std::string quoted_for_shell(const std::string& path);

}  // namespace vrrpconvert
