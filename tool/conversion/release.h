// A software release, as the operator names it.
#pragma once

#include <string>
#include <string_view>

namespace vrrpconvert {

struct Release {
  std::string text;
  bool has_old_layout;  // older than the boundary
};

// Whether the text has the form 4.2(1); letters, digits and dots may follow the patch number, as in 4.2(1a).
bool is_release(std::string_view text);

// Throws Error for any other text; `option` names where it was given.
Release parse_release(const std::string& option, const std::string& text);

}  // namespace vrrpconvert
