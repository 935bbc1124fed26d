// SQLite databases in memory, and statements. Each has one owner.
#ifndef PLATFORM_EMBEDDED_DATABASE_H
#define PLATFORM_EMBEDDED_DATABASE_H

#include <sqlite3.h>

#include <memory>

#include "platform/embedded/image.h"
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

// Opens a database in memory, without a file, so that nothing in the image but its rows has an effect. Takes ownership
// of the image, even if it fails. An empty image is a new database. SQLite cannot roll back, so the database is
// unusable after a failure.
//
// Until accept_schema(), each statement may only take as many steps, and use as long rows and SQL, as the schema of a
// store needs. SQLite reads and parses the whole schema in the first statement, and a small file can contain one that
// would take for ever or gigabytes.
syserr_t open_image(Image* image, Database* database);

// Ends these limits. Call after the schema was compared, or for an image that this platform wrote.
void accept_schema(sqlite3* database);

// Returns the bytes of the database as of its last commit. They belong to the database and are valid until its next
// use.
syserr_t image_of(sqlite3* database, const void** bytes, sqlite3_int64* size);

// Runs statements that return no rows.
syserr_t run(sqlite3* database, const char* sql);

// Runs a statement that returns one integer.
syserr_t query_integer(sqlite3* database, const char* sql, int* result);

syserr_t prepare(sqlite3* database, const char* sql, Statement* statement);

}  // namespace pss_embedded

#endif
