// The overview of a fleet as one self-contained HTML page. page.html is its template.
#pragma once

#include <string>

#include "tool/support/json.h"

namespace vrrpconvert {

// Returns the page. `fleet` is the JSON object of `fleet --json`, without "problem": the template would show it for
// each device.
std::string page_of(const Json& fleet);

}  // namespace vrrpconvert
