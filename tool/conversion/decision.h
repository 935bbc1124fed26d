// The decision whether a conversion may start: the result of the dry run, compared with the operator's permissions.
#pragma once

#include <set>
#include <string>

#include "tool/conversion/report.h"

namespace vrrpconvert {

// The operator's permissions.
struct Permissions {
  std::set<std::string> accepted{};  // losses with these names
  bool loss = false;                 // any loss, and records that would fail
  bool mismatch = false;
};

// Returns the refusal, or a good ending. Uses the releases and the summary of the report.
Ending refusal_of(const ConversionReport& report, const Permissions& permissions);

// Returns the first line of a dry run or a refusal: "GO: ...", "NO-GO: ..." with the options that permit the
// conversion, or "Nothing to do: ...".
std::string decision_of(const ConversionReport& report, const Permissions& permissions);

}  // namespace vrrpconvert
