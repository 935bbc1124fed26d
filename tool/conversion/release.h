// A software release, as the operator names it.
#ifndef TOOL_CONVERSION_RELEASE_H
#define TOOL_CONVERSION_RELEASE_H

#include <string>

namespace vrrpconvert {

struct Release {
  std::string text;
  bool has_old_layout;  // older than the boundary
};

// Reads a release of the form 4.2(1); letters and numbers may stand behind the patch number, as in 4.2(1a). Throws
// Error for anything else; `option` names where it was given.
Release parse_release(const std::string& option, const std::string& text);

}  // namespace vrrpconvert

#endif
