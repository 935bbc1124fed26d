// The decision whether a conversion may start: the result of the dry run, compared with the request.
#pragma once

#include <string>

#include "tool/conversion/report.h"

namespace vrrpconvert {

struct Decision {
  // The first line of a dry run or a refusal: "GO: ...", "NO-GO: ..." with the options that permit the conversion, or
  // "Nothing to do: ...".
  std::string text;
  Ending refusal{};             // good if the conversion may start
  bool is_permissible = false;  // whether options permit a refused conversion
};

// Decides by the releases and the summary of the report. `obstacle` is a problem that no option permits, or good.
Decision decide(const DryRunReport& report, const Request& request, const Ending& obstacle);

}  // namespace vrrpconvert
