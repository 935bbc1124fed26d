#include "platform/embedded/database.h"

#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {

namespace {

// "Cannot open" has its reason in the errno of the call that failed.
syserr_t status_of_opening(sqlite3* database, int result) {
  const bool has_reason = result != SQLITE_CANTOPEN_SYMLINK && (result & 0xff) == SQLITE_CANTOPEN;
  const int error = has_reason ? sqlite3_system_errno(database) : 0;
  return error != 0 ? status_of_errno(error) : status_of_sqlite(result);
}

}  // namespace

syserr_t open_database(const char* file, int flags, int wait_ms, Database* database) {
  sqlite3* opened = nullptr;
  // Without SQLite's lock of a connection: the platform is called by one thread at a time.
  const int whole_flags =
      flags | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE;
  const int result = sqlite3_open_v2(file, &opened, whole_flags, nullptr);
  database->reset(opened);  // there is one to close even when the opening failed
  if (result != SQLITE_OK) return status_of_opening(opened, result);
  // SQLite falls back to reading where a file that can be written cannot be opened for it.
  const bool is_to_be_written = (flags & SQLITE_OPEN_READWRITE) != 0;
  if (is_to_be_written && sqlite3_db_readonly(opened, "main") != 0) return SYSERR_PSS_IO;

  sqlite3_busy_timeout(opened, wait_ms);
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, PSS_EMBEDDED_VALUE_MAX + PSS_EMBEDDED_KEY_MAX + 64);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  // synchronous=EXTRA: without the sync of the directory behind the journal's removal, a power cut after a commit can
  // bring the old state back.
  return run(opened,
             "PRAGMA synchronous=EXTRA; PRAGMA cell_size_check=ON; PRAGMA mmap_size=0; PRAGMA cache_size=-8192");
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

syserr_t pragma_answers(sqlite3* database, const char* pragma, const char* expected, bool* does) {
  Statement statement;
  const syserr_t status = prepare(database, pragma, &statement);
  if (status != 0) return status;
  const int step = sqlite3_step(statement.get());
  if (step != SQLITE_ROW) return status_of_sqlite(step);
  const auto* answer = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  if (answer == nullptr) return SYSERR_PSS_NO_MEMORY;
  *does = strcmp(answer, expected) == 0;
  return 0;
}

}  // namespace pss_embedded
