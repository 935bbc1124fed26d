// Checks of a dry run: conditions that would end the conversion before it changes the store.
#pragma once

#include "tool/conversion/conversion.h"
#include "tool/support/reason.h"

namespace vrrpconvert {

// Checks the directories of the store and the snapshot, their free space, and the owner of the store. Returns the
// refusal, or a good ending. Does not check memory, because the dry run uses as much as the conversion.
Ending preflight(const Conversion& conversion);

}  // namespace vrrpconvert
