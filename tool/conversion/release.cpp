#include "tool/conversion/release.h"

#include <algorithm>
#include <cctype>

#include "libconvertvrrp.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

// Removes a number of 1 to 9 digits and the character `end` from the start of `text`. Returns whether they are there.
bool take_number(std::string_view& text, char end) {
  size_t digits = 0;
  while (digits < text.size() && isdigit(static_cast<unsigned char>(text[digits])) != 0) ++digits;
  if (digits == 0 || digits > 9 || digits == text.size() || (end != '\0' && text[digits] != end)) return false;
  text.remove_prefix(digits + (end != '\0' ? 1 : 0));
  return true;
}

}  // namespace

bool is_release(std::string_view text) {
  if (text.size() > 40 || !take_number(text, '.') || !take_number(text, '(') || !take_number(text, '\0')) return false;
  const auto is_letter = [](char letter) {
    return std::string_view(".()").find(letter) != std::string_view::npos ||
           isalnum(static_cast<unsigned char>(letter)) != 0;
  };
  // After the patch number, which the library reads last, only the bracket is certain: 4.2(1a), 5.0(3)N1(1).
  const size_t bracket = text.find(')');
  return bracket != std::string_view::npos && std::all_of(text.begin(), text.end(), is_letter);
}

Release parse_release(const std::string& option, const std::string& text) {
  if (text.empty()) throw Error(Reason::usage, option + ": missing; expected a release like 4.2(1), in quotes");
  if (!is_release(text)) {
    throw Error(Reason::usage,
                option + ": \"" + text + "\" is not a release; expected a release like 4.2(1), in quotes");
  }
  int32 major = 0, minor = 0, patch = 0;
  vrrp_mgr_split_version(text.c_str(), &major, &minor, &patch);
  return {text, vrrp_mgr_check_if_conversion_necessary(1, VRRP_CNV_BOUNDARY_MAJOR, VRRP_CNV_BOUNDARY_MINOR,
                                                       VRRP_CNV_BOUNDARY_PATCH, major, minor, patch, 0, 0, 0) != 0};
}

}  // namespace vrrpconvert
