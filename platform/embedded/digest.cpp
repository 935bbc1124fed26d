#include "platform/embedded/digest.h"

#include <cstring>

#include "platform/embedded/database.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_format.h"
#include "platform/embedded/tree.h"

namespace pss_embedded {
namespace {

// The key of the previous row, to verify that keys ascend.
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

// Computes the digest of all records. Returns SYSERR_PSS_DAMAGED if a row is damaged or out of order.
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

syserr_t write_digest(sqlite3* database, const Digest& digest) {
  Statement statement;
  syserr_t status = prepare(database, "UPDATE digest SET records = ?1, checksum = ?2", &statement);
  if (status != 0) return status;
  sqlite3_bind_int64(statement.get(), 1, static_cast<sqlite3_int64>(digest.records));
  sqlite3_bind_int64(statement.get(), 2, static_cast<sqlite3_int64>(digest.checksum));
  return status_of_sqlite(sqlite3_step(statement.get()));
}

// Returns whether 4 MiB can be allocated, which is enough for SQLite's page cache of 1 MiB.
bool has_room_for_pages() {
  void* room = sqlite3_malloc(4 << 20);
  sqlite3_free(room);
  return room != nullptr;
}

// quick_check also finds damage outside the records, for example in the list of free pages. Writes would spread such
// damage. If quick_check has no memory for a page, it reports damage, so check the memory first.
syserr_t check_pages(sqlite3* database) {
  Statement statement;
  const syserr_t status = prepare(database, "PRAGMA quick_check(1)", &statement);
  if (status != 0) return status;
  if (!has_room_for_pages()) return SYSERR_PSS_NO_MEMORY;
  const int step = sqlite3_step(statement.get());
  if (step != SQLITE_ROW) return status_of_sqlite(step);
  const auto* result = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  if (result == nullptr) return SYSERR_PSS_NO_MEMORY;
  return strcmp(result, "ok") == 0 ? 0 : SYSERR_PSS_DAMAGED;
}

}  // namespace

// Each step makes the next one safe: the schema names the trees, their shape bounds the depth of quick_check, and after
// quick_check no two records share a page, so reading all of them takes time in proportion to the size.
syserr_t check_store(sqlite3* database, Digest* digest) {
  uint32 roots[2];
  syserr_t status = check_schema(database, roots);
  if (status != 0) return status;
  accept_schema(database);
  const void* bytes;
  sqlite3_int64 size = 0;
  status = image_of(database, &bytes, &size);
  for (const uint32 root : roots) {
    if (status == 0) status = check_tree(static_cast<const uint8*>(bytes), size, root);
  }
  if (status == 0) status = check_pages(database);
  Digest kept;
  if (status == 0) status = read_digest(database, &kept);
  if (status == 0) status = compute_digest(database, digest);
  if (status != 0) return status;
  return *digest == kept ? 0 : SYSERR_PSS_DAMAGED;
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

syserr_t update_digest(sqlite3* database, Digest* digest) {
  const syserr_t status = compute_digest(database, digest);
  return status != 0 ? status : write_digest(database, *digest);
}

}  // namespace pss_embedded
