// Rows of a store.
#ifndef PLATFORM_EMBEDDED_ROW_H
#define PLATFORM_EMBEDDED_ROW_H

#include <cstdint>

#include "platform/embedded/database.h"
#include "platform/types.h"

namespace pss_embedded {

// One record. The bytes belong to the statement and are valid until it is stepped or reset.
struct Row {
  const void* key;
  uint32 key_size;
  const void* value;
  uint32 value_size;
  uint64_t checksum;
};

// Returns XXH3_64bits_withSeed(value, XXH3_64bits(key)), which detects a changed record.
uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size);

// Reads the current row of `statement`, which selects key, value and checksum. Returns SYSERR_PSS_DAMAGED if the
// checksum does not match.
syserr_t read_row(sqlite3_stmt* statement, Row* row);

}  // namespace pss_embedded

#endif
