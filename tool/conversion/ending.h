// How a conversion ends: its exit status, its reason for scripts, and its message.
#pragma once

#include <set>
#include <string>

#include "tool/conversion/report.h"
#include "tool/conversion/run.h"
#include "tool/support/error.h"

namespace vrrpconvert {

// What the operator permits beyond what loses nothing.
struct Permissions {
  std::set<std::string> accepted{};  // losses of these names
  bool loss = false;                 // any loss, and records that would fail
  bool mismatch = false;
};

// Why the summary of a dry run alone is a reason not to convert, if it is.
Ending refusal_of(const Summary& summary, const Permissions& permissions);

Ending refusal_of_snapshot(const std::filesystem::path& snapshot);

// A dry run is refused nothing, but can foretell a refusal, or records that would fail.
Ending ending_of_dry_run(const Summary& summary, const Ending& refusal);

// Throws Error if the run left the store unchanged for a reason that says all there is to report. `is_unchanged` says
// whether the store has the records that it had.
void require_begun(const Run& run, const Conversion& conversion);
void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged, const std::string& unfinished);

// The ending of a run whose outcome is known.
Ending ending_of_run(const Run& run, const ConversionReport& report);

// The ending of one whose store has other records than the library left, or cannot be read.
Ending ending_of_replaced(const Run& run, const Conversion& conversion);
Ending ending_of_unreadable(const std::string& reason, bool is_converted);

}  // namespace vrrpconvert
