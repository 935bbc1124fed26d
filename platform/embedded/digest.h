// The digest over all records of a store, and the check of a whole store.
#ifndef PLATFORM_EMBEDDED_DIGEST_H
#define PLATFORM_EMBEDDED_DIGEST_H

#include <sqlite3.h>

#include <cstdint>

#include "platform/embedded/row.h"
#include "platform/types.h"

namespace pss_embedded {

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

// Reads everything in a database and returns the digest of its records. SYSERR_PSS_NOT_A_STORE if it is not of the
// store format, SYSERR_PSS_DAMAGED if a record is damaged, missing, added or out of order.
syserr_t check_store(sqlite3* database, Digest* digest);

// Returns the digest that the store keeps. Reads no record.
syserr_t read_digest(sqlite3* database, Digest* digest);

// Makes the digest that the store keeps that of its records, and returns it.
syserr_t update_digest(sqlite3* database, Digest* digest);

}  // namespace pss_embedded

#endif
