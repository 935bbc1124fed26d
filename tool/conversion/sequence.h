// The sequence of a conversion: dry run, decision, backup, run of the library, comparison.
#pragma once

#include <string>

#include "tool/conversion/conversion.h"
#include "tool/conversion/decision.h"
#include "tool/conversion/dry_run.h"
#include "tool/conversion/report.h"

namespace vrrpconvert {

// The operator's options.
struct ConversionRequest {
  Permissions permissions{};
  bool is_dry_run = false;
  bool has_backup = true;
  std::string approved{};  // hash of the records of a plan; empty without a plan
  std::string trace{};     // file for the library's trace lines; empty for the device's log
};

// Converts the store, unless only a dry run is requested or the conversion is refused. Throws Error if nothing was
// changed and there is no report.
ConversionReport convert_store(const Conversion& conversion, const ConversionRequest& request, const DryRun& dry_run);

}  // namespace vrrpconvert
