#include "platform/embedded/store_format.h"

#include <cstdio>
#include <cstring>

#include "platform/embedded/database.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

// SQLite stores the text of a schema unchanged. A store has exactly these two entries.
constexpr const char* schema[] = {
    "CREATE TABLE record(key BLOB PRIMARY KEY NOT NULL, value BLOB NOT NULL, checksum INTEGER NOT NULL) "
    "STRICT, WITHOUT ROWID",
    "CREATE TABLE digest(records INTEGER NOT NULL, checksum INTEGER NOT NULL) STRICT",
};

}  // namespace

syserr_t check_schema(sqlite3* database, uint32 (&roots)[2]) {
  Statement statement;
  const syserr_t status = prepare(database, "SELECT sql, rootpage FROM sqlite_schema ORDER BY rowid", &statement);
  if (status != 0) return status;
  uint32* root = roots;
  for (const char* expected : schema) {
    const int step = sqlite3_step(statement.get());
    if (step != SQLITE_ROW) return step == SQLITE_DONE ? SYSERR_PSS_DAMAGED : status_of_sqlite(step);
    const auto* found = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
    if (found == nullptr || strcmp(found, expected) != 0) return SYSERR_PSS_DAMAGED;
    *root++ = static_cast<uint32>(sqlite3_column_int(statement.get(), 1));
  }
  const int step = sqlite3_step(statement.get());
  return step == SQLITE_ROW ? SYSERR_PSS_DAMAGED : status_of_sqlite(step);
}

syserr_t create_format(sqlite3* database) {
  char pragmas[112];
  snprintf(pragmas, sizeof pragmas, "PRAGMA page_size=8192; PRAGMA application_id=%d; PRAGMA user_version=%d",
           store_application_id, store_format_version);
  syserr_t status = run(database, pragmas);
  for (const char* table : schema) {
    if (status == 0) status = run(database, table);
  }
  return status != 0 ? status : run(database, "INSERT INTO digest VALUES(0, 0)");
}

}  // namespace pss_embedded
