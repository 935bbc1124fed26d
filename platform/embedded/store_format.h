// The store format.
//
// A store is an SQLite file in UTF-8 with the application id 0x50535331 ("PSS1"), the user version 1, these two tables
// and nothing else:
//     record   one row per record: key, value, and a checksum over both
//     digest   one row: the number of records, and the sum of their checksums modulo 2^64
#ifndef PLATFORM_EMBEDDED_STORE_FORMAT_H
#define PLATFORM_EMBEDDED_STORE_FORMAT_H

#include <sqlite3.h>

#include "platform/types.h"

namespace pss_embedded {

constexpr int store_application_id = 0x50535331;
constexpr int store_format_version = 1;

// Returns 0 and the root pages of both tables, or SYSERR_PSS_DAMAGED if the database has other tables. Reads no record.
syserr_t check_schema(sqlite3* database, uint32 (&roots)[2]);

// Creates the store format in an empty database, without records.
syserr_t create_format(sqlite3* database);

}  // namespace pss_embedded

#endif
