// Rows of a store, and the digest over all of them.
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

// Detects missing and resurrected records, which row checksums cannot.
struct Digest {
  uint64_t records = 0;
  uint64_t checksum = 0;  // the sum of the rows' checksums modulo 2^64

  void add(const Row& row) {
    ++records;
    checksum += row.checksum;
  }
  bool operator==(const Digest&) const = default;
};

// Detects a changed record: XXH3_64bits_withSeed(value, XXH3_64bits(key)).
uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size);

// Reads the row that `statement`, over the columns key, value and checksum, stands on. SYSERR_PSS_DAMAGED when it is
// not what was stored.
syserr_t read_row(sqlite3_stmt* statement, Row* row);

// Reads every record and returns the digest of what it read; SYSERR_PSS_DAMAGED when a row is damaged or out of order.
syserr_t compute_digest(sqlite3* database, Digest* digest);

// The digest that the store keeps.
syserr_t read_digest(sqlite3* database, Digest* digest);
syserr_t write_digest(sqlite3* database, const Digest& digest);

}  // namespace pss_embedded

#endif
