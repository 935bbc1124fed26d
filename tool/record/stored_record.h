// A stored record as it stands.
#ifndef TOOL_RECORD_STORED_RECORD_H
#define TOOL_RECORD_STORED_RECORD_H

#include <vector>

#include "platform/types.h"

namespace vrrpconvert {

using Bytes = std::vector<uint8>;

// The whole key and the whole value.
struct StoredRecord {
  Bytes key;
  Bytes value;
  bool operator==(const StoredRecord&) const = default;
};

}  // namespace vrrpconvert

#endif
