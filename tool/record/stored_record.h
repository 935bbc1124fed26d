// A stored record: the bytes of its key and its value.
#pragma once

#include <vector>

#include "platform/types.h"

namespace vrrpconvert {

using Bytes = std::vector<uint8>;

struct StoredRecord {
  Bytes key;
  Bytes value;
  bool operator==(const StoredRecord&) const = default;
};

}  // namespace vrrpconvert
