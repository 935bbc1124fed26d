// Whether a conversion may start: what the dry run foresees, compared with what the operator permits.
#pragma once

#include <set>
#include <string>

#include "tool/conversion/report.h"

namespace vrrpconvert {

// What the operator permits beyond a conversion without losses.
struct Permissions {
  std::set<std::string> accepted{};  // losses of these names
  bool loss = false;                 // any loss, and records that would fail
  bool mismatch = false;
};

// A refusal, or a good ending. The report needs its releases and its summary.
Ending refusal_of(const ConversionReport& report, const Permissions& permissions);

// The line that a dry run and a refusal begin with: "GO: ...", "NO-GO: ..." with the options that permit the
// conversion, or "Nothing to do: ...".
std::string decision_of(const ConversionReport& report, const Permissions& permissions);

}  // namespace vrrpconvert
