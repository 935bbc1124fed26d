// How a conversion ends: its exit status, its reason for scripts, and its message.
#pragma once

#include <string>

#include "tool/conversion/report.h"
#include "tool/conversion/run.h"
#include "tool/support/error.h"

namespace vrrpconvert {

Ending refusal_of_snapshot(const std::filesystem::path& snapshot);

// The exit status and reason of a dry run are those of the refusal, or say that records would fail. It has the problem
// of a refusal that no option permits.
Ending ending_of_dry_run(const Summary& summary, const Ending& refusal);

// Each throws Error if the run left the store unchanged, and the reason is all there is to report: if the library did
// not get the store, or if an interrupt or a failed snapshot ended the run. `unfinished` is appended to the message.
void require_begun(const Run& run, const Conversion& conversion);
void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged, const std::string& unfinished);

// The ending of a run whose outcome the report has.
Ending ending_of_run(const Run& run, const ConversionReport& report);

// The ending of one whose store has other records than the library left, or cannot be read.
Ending ending_of_replaced(const Run& run, const Conversion& conversion);
Ending ending_of_uncompared();  // for lack of memory
Ending ending_of_unreadable(const std::string& reason, bool is_converted);

}  // namespace vrrpconvert
