// Conditions that would end a conversion before it changes the store, which a dry run finds without a change.
#pragma once

#include "tool/conversion/conversion.h"
#include "tool/conversion/report.h"

namespace vrrpconvert {

// Checks the directories of the store and of the snapshot, the free space in them, and the owner of the store. Returns
// the refusal, or a good ending. Memory needs no check: the dry run uses as much as the conversion.
Ending preflight(const Conversion& conversion, bool has_backup);

}  // namespace vrrpconvert
