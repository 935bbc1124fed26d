#include "platform/embedded/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/embedded/database.h"
#include "platform/embedded/file_descriptor.h"
#include "platform/embedded/row.h"
#include "platform/embedded/scratch_directory.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_format.h"

namespace pss_embedded {
namespace {

// Without a copy: the row stays as it is until its statement is stepped.
int bind_row(sqlite3_stmt* insert, const Row& row) {
  int bound = sqlite3_bind_blob64(insert, 1, row.key, row.key_size, SQLITE_STATIC);
  if (bound == SQLITE_OK) bound = sqlite3_bind_blob64(insert, 2, row.value, row.value_size, SQLITE_STATIC);
  if (bound == SQLITE_OK) bound = sqlite3_bind_int64(insert, 3, static_cast<sqlite3_int64>(row.checksum));
  return bound;
}

syserr_t copy_records(sqlite3* source, sqlite3* target, Digest* digest) {
  Statement select, insert;
  syserr_t status = prepare(source, "SELECT key, value, checksum FROM record ORDER BY key", &select);
  if (status == 0) status = prepare(target, "INSERT INTO record VALUES(?1, ?2, ?3)", &insert);
  if (status != 0) return status;

  int step;
  while ((step = sqlite3_step(select.get())) == SQLITE_ROW) {
    Row row;
    status = read_row(select.get(), &row);
    if (status != 0) return status;
    const int bound = bind_row(insert.get(), row);
    if (bound != SQLITE_OK) return status_of_sqlite(bound);
    sqlite3_step(insert.get());
    const int inserted = sqlite3_reset(insert.get());
    if (inserted != SQLITE_OK) return status_of_sqlite(inserted);
    digest->add(row);
  }
  return status_of_sqlite(step);
}

// Fills the empty file at `file` with a store and returns its digest. The file is private until it is whole, so that it
// needs no journal.
syserr_t build_store(const char* file, sqlite3* source, Digest* digest) {
  Database target;
  syserr_t status = open_database(file, SQLITE_OPEN_READWRITE, &target);
  if (status != 0) return status;
  sqlite3_db_config(target.get(), SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);  // it forbids to do without a journal
  // Rows that come in key order need no cache but for the pages along the edge of the tree.
  status = run(target.get(), "PRAGMA page_size=8192; PRAGMA cache_size=-512; PRAGMA journal_mode=OFF; BEGIN");
  if (status == 0) status = create_format(target.get());
  if (status == 0 && source != nullptr) status = copy_records(source, target.get(), digest);
  if (status == 0) status = write_digest(target.get(), *digest);
  if (status == 0) status = run(target.get(), "COMMIT");
  return status;
}

}  // namespace

syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source) {
  // Opened first, so that a directory that cannot be synced is found while nothing is done yet.
  const FileDescriptor directory(open(location.directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() < 0) return status_of_errno(errno);
  ScratchDirectory scratch;
  syserr_t status = scratch.make(location.directory);
  if (status != 0) return status;
  const FileDescriptor file(open(scratch.store(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file.get() < 0 || fchmod(file.get(), 0600) != 0) return status_of_errno(errno);

  Digest digest;
  status = build_store(scratch.store(), source, &digest);
  if (status != 0) return status;
  if (fsync(file.get()) != 0) return status_of_errno(errno);
  status = make_way(location, existing, digest, directory.get(), scratch.discarded());
  if (status != 0) return status;
  const unsigned flags = existing == Existing::refuse ? RENAME_NOREPLACE : 0;
  if (renameat2(AT_FDCWD, scratch.store(), AT_FDCWD, location.file, flags) != 0) return status_of_errno(errno);
  return fsync(directory.get()) == 0 ? 0 : status_of_errno(errno);
}

}  // namespace pss_embedded
