#include "platform/embedded/row.h"

#include <cstring>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

// The key of the row before, to see that keys ascend.
class PreviousKey {
 public:
  bool precedes(const Row& row) const {
    const int order = memcmp(bytes_, row.key, size_ < row.key_size ? size_ : row.key_size);
    return order < 0 || (order == 0 && size_ < row.key_size);
  }
  void set(const Row& row) {
    memcpy(bytes_, row.key, row.key_size);
    size_ = row.key_size;
  }

 private:
  uint8 bytes_[PSS_EMBEDDED_KEY_MAX];
  uint32 size_ = 0;
};

}  // namespace

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
  // A null blob is an empty one, or a lack of memory.
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

syserr_t compute_digest(sqlite3* database, Digest* digest) {
  Statement statement;
  const syserr_t status = prepare(database, "SELECT key, value, checksum FROM record ORDER BY key", &statement);
  if (status != 0) return status;
  *digest = {};
  PreviousKey previous;
  int step;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    Row row;
    const syserr_t row_status = read_row(statement.get(), &row);
    if (row_status != 0) return row_status;
    if (!previous.precedes(row)) return SYSERR_PSS_DAMAGED;
    previous.set(row);
    digest->add(row);
  }
  return status_of_sqlite(step);
}

syserr_t read_digest(sqlite3* database, Digest* digest) {
  Statement statement;
  const syserr_t status = prepare(database, "SELECT records, checksum FROM digest", &statement);
  if (status != 0) return status;
  const int step = sqlite3_step(statement.get());
  if (step != SQLITE_ROW) return step == SQLITE_DONE ? SYSERR_PSS_DAMAGED : status_of_sqlite(step);
  digest->records = static_cast<uint64_t>(sqlite3_column_int64(statement.get(), 0));
  digest->checksum = static_cast<uint64_t>(sqlite3_column_int64(statement.get(), 1));
  const int end = sqlite3_step(statement.get());
  return end == SQLITE_ROW ? SYSERR_PSS_DAMAGED : status_of_sqlite(end);
}

syserr_t write_digest(sqlite3* database, const Digest& digest) {
  Statement statement;
  syserr_t status = prepare(database, "UPDATE digest SET records = ?1, checksum = ?2", &statement);
  if (status != 0) return status;
  sqlite3_bind_int64(statement.get(), 1, static_cast<sqlite3_int64>(digest.records));
  sqlite3_bind_int64(statement.get(), 2, static_cast<sqlite3_int64>(digest.checksum));
  return status_of_sqlite(sqlite3_step(statement.get()));
}

}  // namespace pss_embedded
