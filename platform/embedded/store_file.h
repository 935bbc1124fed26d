// The file format of a store, and how such a file comes into being.
//
// A store is an SQLite file with the application id and user version below and these two tables, and nothing else:
//
//     record   a row a record: key, value, checksum of both
//     digest   one row: the number of records, and the sum of their checksums modulo 2^64
//
// The row checksum is XXH3_64bits_withSeed(value, XXH3_64bits(key)), kept as a signed 64-bit integer. It tells a
// changed record; the digest tells a record that vanished or came up again.
#ifndef PLATFORM_EMBEDDED_STORE_FILE_H
#define PLATFORM_EMBEDDED_STORE_FILE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>

#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

constexpr int store_application_id = 0x50535331;  // "PSS1"
constexpr int store_format_version = 1;

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// One record; the bytes are the statement's and last until it is stepped or reset.
struct Row {
  const void* key;
  uint32 key_size;
  const void* value;
  uint32 value_size;
  uint64_t checksum;
};

struct Digest {
  uint64_t records = 0;
  uint64_t checksum = 0;
  bool operator==(const Digest&) const = default;
};

uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size);

// Opens the database file and sets it up so that nothing in the file but its rows can have an effect.
syserr_t open_database(const char* file, int flags, Database* database);

// Runs statements that give no rows.
syserr_t run(sqlite3* database, const char* sql);

syserr_t prepare(sqlite3* database, const char* sql, Statement* statement);

// Reads the row that `statement`, over the columns key, value and checksum, stands on. SYSERR_PSS_DAMAGED when it is
// not what was stored.
syserr_t read_row(sqlite3_stmt* statement, Row* row);

// Returns 0 when the database is a store of this format, SYSERR_PSS_NOT_A_STORE when it is something else.
syserr_t check_format(sqlite3* database);

// Reads every record and returns the digest of what it read; SYSERR_PSS_DAMAGED when a row is unsound or out of order.
syserr_t compute_digest(sqlite3* database, Digest* digest);

syserr_t read_digest(sqlite3* database, Digest* digest);
syserr_t write_digest(sqlite3* database, const Digest& digest);

// Brings a new store to `location`, whole or not at all, with mode 0600: an empty one, or with the records of `source`
// when that is not null. What is there already is replaced, or refused with SYSERR_PSS_EXISTS.
enum class Existing { replace, refuse };
syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source);

}  // namespace pss_embedded

#endif
