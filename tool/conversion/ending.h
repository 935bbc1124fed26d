// The endings of a conversion.
#pragma once

#include "tool/conversion/report.h"
#include "tool/conversion/run.h"
#include "tool/support/error.h"

namespace vrrpconvert {

// require_begun throws Error if the library could not open the store, or if another process changed it after the dry
// run. require_kept throws Error if the store is unchanged after an interrupt or a failed snapshot, and adds
// the lines `unfinished` to the message of an interrupt.
void require_begun(const Run& run, const Conversion& conversion);
void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged,
                  const std::vector<std::string>& unfinished);

// Returns the ending of a run after which the store was read and compared.
Ending ending_of_run(const Run& run, const ConversionReport& report);

// Return the ending of a run if another process replaced or changed the store, if there is no memory to compare the
// records, or if the store cannot be read.
Ending ending_of_replaced(const Run& run, const Conversion& conversion);
Ending ending_of_uncompared();
Ending ending_of_unreadable(const std::string& reason, bool is_converted);

}  // namespace vrrpconvert
