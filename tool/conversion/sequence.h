// The sequence of a conversion: dry run, refusal, backup, the library's run on the store, and what that left.
#pragma once

#include <optional>
#include <string>

#include "tool/conversion/conversion.h"
#include "tool/conversion/decision.h"
#include "tool/conversion/dry_run.h"
#include "tool/conversion/report.h"

namespace vrrpconvert {

// What the operator asks for.
struct ConversionRequest {
  Permissions permissions{};
  bool is_dry_run = false;
  bool has_backup = true;
  std::optional<StoreDigest> approved{};  // of the records that the conversion may convert; none for any
  std::string trace{};                    // the file that gets the library's trace lines; empty for the device's log
};

// Converts the store, unless the dry run is all that is asked for or the conversion is refused. Throws Error if nothing
// was changed, and the error says all there is to report.
ConversionReport convert_store(const Conversion& conversion, const ConversionRequest& request, const DryRun& dry_run);

}  // namespace vrrpconvert
