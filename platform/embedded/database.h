// SQLite databases and statements with one owner each.
#ifndef PLATFORM_EMBEDDED_DATABASE_H
#define PLATFORM_EMBEDDED_DATABASE_H

#include <sqlite3.h>

#include <memory>

#include "platform/types.h"

namespace pss_embedded {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// Opens the database file and sets it up so that nothing in the file but its rows can have an effect. Every statement
// waits up to `wait_ms` milliseconds for a lock that another connection holds.
syserr_t open_database(const char* file, int flags, int wait_ms, Database* database);

// Runs statements that give no rows.
syserr_t run(sqlite3* database, const char* sql);

// Reports in `*does` whether the first row that the pragma gives is the text `expected`.
syserr_t pragma_answers(sqlite3* database, const char* pragma, const char* expected, bool* does);

syserr_t prepare(sqlite3* database, const char* sql, Statement* statement);

}  // namespace pss_embedded

#endif
