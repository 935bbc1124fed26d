#include "platform/embedded/row.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {

uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size) {
  return XXH3_64bits_withSeed(value, value_size, XXH3_64bits(key, key_size));
}

syserr_t read_row(sqlite3_stmt* statement, Row* row) {
  if (sqlite3_column_type(statement, 0) != SQLITE_BLOB || sqlite3_column_type(statement, 1) != SQLITE_BLOB ||
      sqlite3_column_type(statement, 2) != SQLITE_INTEGER) {
    return SYSERR_PSS_DAMAGED;
  }
  row->key = sqlite3_column_blob(statement, 0);
  row->key_size = static_cast<uint32>(sqlite3_column_bytes(statement, 0));
  row->value = sqlite3_column_blob(statement, 1);
  row->value_size = static_cast<uint32>(sqlite3_column_bytes(statement, 1));
  row->checksum = static_cast<uint64_t>(sqlite3_column_int64(statement, 2));
  // A null blob is empty, or there was no memory for it.
  if ((row->key == nullptr || row->value == nullptr) && sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM) {
    return SYSERR_PSS_NO_MEMORY;
  }
  if (row->key == nullptr || row->key_size > PSS_EMBEDDED_KEY_MAX) return SYSERR_PSS_DAMAGED;
  if (row->value == nullptr) {
    row->value = "";
    row->value_size = 0;
  }
  const uint64_t expected = row_checksum(row->key, row->key_size, row->value, row->value_size);
  return row->checksum == expected ? 0 : SYSERR_PSS_DAMAGED;
}

}  // namespace pss_embedded
