// The copy of a store that is kept beside it before it is changed.
#ifndef TOOL_CONVERSION_KEPT_COPY_H
#define TOOL_CONVERSION_KEPT_COPY_H

#include <filesystem>

#include "tool/conversion/release.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// Copies `original` to a name beside `store` that carries the source release and that nothing has yet. Returns the
// name. The copy is durable. Throws Error.
std::filesystem::path keep_copy(const Store& original, const std::filesystem::path& store, const Release& from);

}  // namespace vrrpconvert

#endif
