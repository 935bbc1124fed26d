#include "platform/embedded/database.h"

#include <climits>
#include <initializer_list>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

syserr_t take_over(Image* image, sqlite3* database) {
  constexpr unsigned flags = SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE;
  const int result = sqlite3_deserialize(database, "main", image->bytes.release(), image->size, image->size, flags);
  // SQLite does not read the image here, so every failure is a lack of memory.
  if (result != SQLITE_OK) return SYSERR_PSS_NO_MEMORY;
  sqlite3_int64 limit = PSS_EMBEDDED_STORE_MAX;
  return status_of_sqlite(sqlite3_file_control(database, "main", SQLITE_FCNTL_SIZE_LIMIT, &limit));
}

// The schema of a store has two rows, with SQL of less than 200 characters.
void limit_schema(sqlite3* database) {
  constexpr int steps_max = 1000;
  sqlite3_progress_handler(database, steps_max, [](void*) { return 1; }, nullptr);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 1000);
  sqlite3_limit(database, SQLITE_LIMIT_SQL_LENGTH, 300);
  sqlite3_limit(database, SQLITE_LIMIT_COLUMN, 8);
  sqlite3_limit(database, SQLITE_LIMIT_EXPR_DEPTH, 8);
}

}  // namespace

syserr_t open_image(Image* image, Database* database) {
  sqlite3* opened = nullptr;
  // NOMUTEX: one thread at a time calls the platform.
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE;
  const int result = sqlite3_open_v2(":memory:", &opened, flags, nullptr);
  database->reset(opened);  // there is one to close even when the opening failed
  if (result != SQLITE_OK) return status_of_sqlite(result);

  limit_schema(opened);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  syserr_t status = take_over(image, opened);
  // No journal and no sync, because only the image changes, not the file. temp_store keeps records out of temporary
  // files. The cache is small, because it only saves copies from memory to memory.
  if (status == 0) {
    status = run(opened,
                 "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA temp_store=MEMORY; PRAGMA mmap_size=0; "
                 "PRAGMA cell_size_check=ON; PRAGMA cache_size=-1024");
  }
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);  // defensive mode rejects journal_mode=OFF
  return status;
}

void accept_schema(sqlite3* database) {
  sqlite3_progress_handler(database, 0, nullptr, nullptr);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, PSS_EMBEDDED_VALUE_MAX + PSS_EMBEDDED_KEY_MAX + 64);
  for (const int limit : {SQLITE_LIMIT_SQL_LENGTH, SQLITE_LIMIT_COLUMN, SQLITE_LIMIT_EXPR_DEPTH}) {
    sqlite3_limit(database, limit, INT_MAX);  // SQLite's own maximum
  }
}

syserr_t image_of(sqlite3* database, const void** bytes, sqlite3_int64* size) {
  *bytes = sqlite3_serialize(database, "main", size, SQLITE_SERIALIZE_NOCOPY);
  return *bytes != nullptr ? 0 : SYSERR_PSS_NO_MEMORY;
}

syserr_t run(sqlite3* database, const char* sql) {
  return status_of_sqlite(sqlite3_exec(database, sql, nullptr, nullptr, nullptr));
}

syserr_t prepare(sqlite3* database, const char* sql, Statement* statement) {
  sqlite3_stmt* prepared = nullptr;
  const int result = sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement->reset(prepared);
  return status_of_sqlite(result);
}

syserr_t query_integer(sqlite3* database, const char* sql, int* result) {
  Statement statement;
  const syserr_t status = prepare(database, sql, &statement);
  if (status != 0) return status;
  const int step = sqlite3_step(statement.get());
  *result = sqlite3_column_int(statement.get(), 0);
  return step == SQLITE_ROW ? 0 : status_of_sqlite(step);
}

}  // namespace pss_embedded
