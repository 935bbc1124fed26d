// A software release on the command line.
#pragma once

#include <string>
#include <string_view>

namespace vrrpconvert {

struct Release {
  std::string text;
  bool has_old_layout;  // older than the boundary
};

// Returns whether the text has the form 4.2(1). Letters, digits and dots may follow the patch number, as in 4.2(1a).
bool is_release(std::string_view text);

// Parses a release. Throws Error for any other text; `option` is the name of the option.
Release parse_release(const std::string& option, const std::string& text);

}  // namespace vrrpconvert
