// The digest of all records of a store, and the check of a store.
#ifndef PLATFORM_EMBEDDED_DIGEST_H
#define PLATFORM_EMBEDDED_DIGEST_H

#include <sqlite3.h>

#include <cstdint>

#include "platform/embedded/row.h"
#include "platform/types.h"

namespace pss_embedded {

// Detects missing and resurrected records, which row checksums cannot. It detects accidents, not attacks: anybody can
// choose a few records so that the sum is the same. docs/store.md explains why it is a sum.
struct Digest {
  uint64_t records = 0;
  uint64_t checksum = 0;  // sum of the row checksums modulo 2^64

  void add(const Row& row) {
    ++records;
    checksum += row.checksum;
  }
  bool operator==(const Digest&) const = default;
};

// Verifies a database and computes the digest of its records. Returns SYSERR_PSS_DAMAGED if it has other tables, or if
// a record is damaged, missing, added or out of order.
syserr_t check_store(sqlite3* database, Digest* digest);

// Reads the digest that the store contains. Reads no record.
syserr_t read_digest(sqlite3* database, Digest* digest);

// Computes the digest of the records and writes it to the store.
syserr_t update_digest(sqlite3* database, Digest* digest);

}  // namespace pss_embedded

#endif
