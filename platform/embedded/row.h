// Rows of a store.
#ifndef PLATFORM_EMBEDDED_ROW_H
#define PLATFORM_EMBEDDED_ROW_H

#include <cstdint>

#include "platform/embedded/database.h"
#include "platform/types.h"

namespace pss_embedded {

// One record; the bytes are the statement's and last until it is stepped or reset.
struct Row {
  const void* key;
  uint32 key_size;
  const void* value;
  uint32 value_size;
  uint64_t checksum;
};

// Detects a changed record: XXH3_64bits_withSeed(value, XXH3_64bits(key)).
uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size);

// Reads the row that `statement`, over the columns key, value and checksum, stands on. SYSERR_PSS_DAMAGED when it is
// not what was stored.
syserr_t read_row(sqlite3_stmt* statement, Row* row);

}  // namespace pss_embedded

#endif
