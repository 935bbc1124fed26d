// The overview of a fleet as one page of HTML that loads nothing; page.html is its template.
#pragma once

#include <string>

#include "tool/support/json.h"

namespace vrrpconvert {

// `fleet` is the object of `fleet --json`.
std::string page_of(const Json& fleet);

}  // namespace vrrpconvert
