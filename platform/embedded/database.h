// SQLite databases in memory and statements, with one owner each.
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

// Opens a database in memory, without a file, and sets it up so that nothing in the image but its rows can have an
// effect. Takes the image over, also where it fails; an image of no bytes is a new database. Nothing can be undone in
// it: after a failure of SQLite it is of no use.
syserr_t open_image(Image* image, Database* database);

// The bytes of the database as of its last commit. They are its own, and last until it is used again.
syserr_t image_of(sqlite3* database, const void** bytes, sqlite3_int64* size);

// Runs statements that give no rows.
syserr_t run(sqlite3* database, const char* sql);

// Runs a statement that gives one integer.
syserr_t query_integer(sqlite3* database, const char* sql, int* result);

syserr_t prepare(sqlite3* database, const char* sql, Statement* statement);

}  // namespace pss_embedded

#endif
