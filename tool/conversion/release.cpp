#include "tool/conversion/release.h"

#include <regex>

#include "libconvertvrrp.h"
#include "tool/support/error.h"

namespace vrrpconvert {

Release parse_release(const std::string& option, const std::string& text) {
  static const std::regex form(R"(\d{1,9}\.\d{1,9}\(\d{1,9}[0-9A-Za-z.]*\))");
  // The length is bounded first: the matching of a regular expression takes stack for every character.
  if (text.size() > 40 || !std::regex_match(text, form)) {
    throw Error(exit_usage, option + ": \"" + text + "\" is not a release; expected one like 4.2(1), in quotes");
  }
  int32 major = 0, minor = 0, patch = 0;
  vrrp_mgr_split_version(text.c_str(), &major, &minor, &patch);
  return {text, vrrp_mgr_check_if_conversion_necessary(1, VRRP_CNV_BOUNDARY_MAJOR, VRRP_CNV_BOUNDARY_MINOR,
                                                       VRRP_CNV_BOUNDARY_PATCH, major, minor, patch, 0, 0, 0) != 0};
}

}  // namespace vrrpconvert
