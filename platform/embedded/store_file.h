// The file format of a store, and how such a file comes into being.
//
// A store is an SQLite file with the application id 0x50535331 ("PSS1"), the user version 1, these two tables and
// nothing else:
//
//     record   a row a record: key, value, and a checksum over both
//     digest   one row: the number of records, and the sum of their checksums modulo 2^64
#ifndef PLATFORM_EMBEDDED_STORE_FILE_H
#define PLATFORM_EMBEDDED_STORE_FILE_H

#include <sqlite3.h>

#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// Returns 0 when the database is a store of this format, SYSERR_PSS_NOT_A_STORE when it is something else.
syserr_t check_format(sqlite3* database);

// Brings a new store to `location`, whole or not at all, with mode 0600: an empty one, or with the records of `source`
// when that is not null. What is there already is replaced, or refused with SYSERR_PSS_EXISTS.
enum class Existing { replace, refuse };
syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source);

}  // namespace pss_embedded

#endif
