#include "platform/embedded/store_format.h"

#include <cstdio>
#include <cstring>

#include "platform/embedded/database.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

constexpr int store_application_id = 0x50535331;
constexpr int store_format_version = 1;

// SQLite keeps the text of a schema as it was given: a store has exactly these two entries.
constexpr const char* schema[] = {
    "CREATE TABLE record(key BLOB PRIMARY KEY NOT NULL, value BLOB NOT NULL, checksum INTEGER NOT NULL) "
    "STRICT, WITHOUT ROWID",
    "CREATE TABLE digest(records INTEGER NOT NULL, checksum INTEGER NOT NULL) STRICT",
};

syserr_t check_schema(sqlite3* database) {
  Statement statement;
  const syserr_t status = prepare(database, "SELECT sql FROM sqlite_schema ORDER BY rowid", &statement);
  if (status != 0) return status;
  for (const char* expected : schema) {
    const int step = sqlite3_step(statement.get());
    if (step != SQLITE_ROW) return step == SQLITE_DONE ? SYSERR_PSS_NOT_A_STORE : status_of_sqlite(step);
    const auto* found = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
    if (found == nullptr || strcmp(found, expected) != 0) return SYSERR_PSS_NOT_A_STORE;
  }
  const int step = sqlite3_step(statement.get());
  return step == SQLITE_ROW ? SYSERR_PSS_NOT_A_STORE : status_of_sqlite(step);
}

syserr_t check_format(sqlite3* database) {
  int application_id = 0, version = 0;
  syserr_t status = query_integer(database, "PRAGMA application_id", &application_id);
  if (status == 0) status = query_integer(database, "PRAGMA user_version", &version);
  if (status != 0) return status;
  if (application_id != store_application_id || version != store_format_version) return SYSERR_PSS_NOT_A_STORE;
  return check_schema(database);
}

// Whether there is memory for SQLite's cache of pages, and some more.
bool has_room_for_pages() {
  void* room = sqlite3_malloc(4 << 20);
  sqlite3_free(room);
  return room != nullptr;
}

// quick_check finds damage outside the records that writes would spread, in the list of free pages for instance. It
// reports a page for which there is no memory as damaged, so memory is looked for first.
syserr_t check_pages(sqlite3* database) {
  Statement statement;
  const syserr_t status = prepare(database, "PRAGMA quick_check(1)", &statement);
  if (status != 0) return status;
  if (!has_room_for_pages()) return SYSERR_PSS_NO_MEMORY;
  const int step = sqlite3_step(statement.get());
  if (step != SQLITE_ROW) return status_of_sqlite(step);
  const auto* answer = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  if (answer == nullptr) return SYSERR_PSS_NO_MEMORY;
  return strcmp(answer, "ok") == 0 ? 0 : SYSERR_PSS_DAMAGED;
}

}  // namespace

syserr_t check_store(sqlite3* database, Digest* digest) {
  syserr_t status = check_format(database);
  if (status == 0) status = check_pages(database);
  Digest kept;
  if (status == 0) status = read_digest(database, &kept);
  if (status == 0) status = compute_digest(database, digest);
  if (status != 0) return status;
  return *digest == kept ? 0 : SYSERR_PSS_DAMAGED;
}

syserr_t update_digest(sqlite3* database, Digest* digest) {
  const syserr_t status = compute_digest(database, digest);
  return status != 0 ? status : write_digest(database, *digest);
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
