// The ending of a conversion: its exit status, its reason for scripts, and its message.
#pragma once

#include <string>

#include "tool/conversion/report.h"
#include "tool/conversion/run.h"
#include "tool/support/error.h"

namespace vrrpconvert {

Ending refusal_of_snapshot(const std::filesystem::path& snapshot);

// Returns the ending of a dry run: the exit status and reason of the refusal, or those for records that would fail. It
// has a message only if no option permits the conversion.
Ending ending_of_dry_run(const Summary& summary, const Ending& refusal);

// Each throws Error if the store is unchanged because the library did not get it, or because an interrupt or a failed
// snapshot ended the run. `unfinished` is appended to the message.
void require_begun(const Run& run, const Conversion& conversion);
void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged, const std::string& unfinished);

// Returns the ending of a run whose outcome is known.
Ending ending_of_run(const Run& run, const ConversionReport& report);

// Returns the ending of a run whose store cannot be read, or contains other records than the library stored.
Ending ending_of_replaced(const Run& run, const Conversion& conversion);
Ending ending_of_uncompared();  // for a lack of memory
Ending ending_of_unreadable(const std::string& reason, bool is_converted);

}  // namespace vrrpconvert
