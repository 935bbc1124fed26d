#include "platform/embedded/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/row.h"
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

// Runs a statement that gives one integer.
syserr_t query_integer(sqlite3* database, const char* sql, int* result) {
  Statement statement;
  const syserr_t status = prepare(database, sql, &statement);
  if (status != 0) return status;
  const int step = sqlite3_step(statement.get());
  *result = sqlite3_column_int(statement.get(), 0);
  return step == SQLITE_ROW ? 0 : status_of_sqlite(step);
}

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

// A folder that only this user can enter, beside a target: nobody can guess, plant or follow what is built inside.
class PrivateFolder {
 public:
  PrivateFolder() = default;
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder() {
    if (folder_[0] == '\0') return;
    unlink(file_);  // gone already when it was brought to its place
    unlink(leftover_);
    rmdir(folder_);
  }

  syserr_t make(const char* parent) {
    char folder[PATH_MAX];
    if (snprintf(folder, sizeof folder, "%s/.pss-%ld-XXXXXX", parent, static_cast<long>(getpid())) >=
        static_cast<int>(sizeof folder)) {
      return SYSERR_PSS_BAD_URL;
    }
    if (mkdtemp(folder) == nullptr) return status_of_errno(errno);
    memcpy(folder_, folder, sizeof folder_);
    snprintf(file_, sizeof file_, "%s/store", folder_);
    snprintf(leftover_, sizeof leftover_, "%s/leftover", folder_);
    // A umask may have taken the owner's bits.
    return chmod(folder_, 0700) == 0 ? 0 : status_of_errno(errno);
  }

  const char* file() const { return file_; }
  const char* leftover() const { return leftover_; }

 private:
  char folder_[PATH_MAX] = "";
  char file_[PATH_MAX + 16];
  char leftover_[PATH_MAX + 16];
};

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);  // everything written is synced before: there is nothing to lose
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

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

// Fills the empty file at `file` with a store. The file is private until it is whole, so that it needs no journal.
syserr_t build_store(const char* file, sqlite3* source) {
  Database target;
  syserr_t status = open_database(file, SQLITE_OPEN_READWRITE, &target);
  if (status != 0) return status;
  sqlite3_db_config(target.get(), SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);  // it forbids to do without a journal
  // Rows that come in key order need no cache but for the pages along the edge of the tree.
  char pragmas[192];
  snprintf(pragmas, sizeof pragmas,
           "PRAGMA page_size=8192; PRAGMA cache_size=-512; PRAGMA journal_mode=OFF; BEGIN; PRAGMA application_id=%d; "
           "PRAGMA user_version=%d",
           store_application_id, store_format_version);
  status = run(target.get(), pragmas);
  for (const char* table : schema) {
    if (status == 0) status = run(target.get(), table);
  }
  if (status == 0) status = run(target.get(), "INSERT INTO digest VALUES(0, 0)");
  Digest digest;
  if (status == 0 && source != nullptr) status = copy_records(source, target.get(), &digest);
  if (status == 0) status = write_digest(target.get(), digest);
  if (status == 0) status = run(target.get(), "COMMIT");
  return status;
}

// A journal that a dead writer left beside a store would be played back into its successor. It may be the only way to
// recover what it belongs to, so a store is not created beside one.
syserr_t clear_leftovers(const Location& location, Existing existing, const PrivateFolder& workplace) {
  for (const char* suffix : {"-journal", "-wal", "-shm"}) {
    char leftover[PATH_MAX + 16];
    snprintf(leftover, sizeof leftover, "%s%s", location.file, suffix);
    struct stat status;
    if (lstat(leftover, &status) != 0) continue;
    if (existing == Existing::refuse) return SYSERR_PSS_EXISTS;
    if (S_ISDIR(status.st_mode)) return SYSERR_PSS_BAD_URL;
    // Moved aside before the store goes: where it may not be moved, the store is still there.
    if (rename(leftover, workplace.leftover()) != 0) return status_of_errno(errno);
    if (unlink(location.file) != 0 && errno != ENOENT) return status_of_errno(errno);
  }
  return 0;
}

syserr_t move_to(const Location& location, Existing existing, const char* file) {
  // Opened first, so that a folder that cannot be synced is found while nothing is done yet.
  const FileDescriptor folder(open(location.folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0) return status_of_errno(errno);
  const unsigned flags = existing == Existing::refuse ? RENAME_NOREPLACE : 0;
  if (renameat2(AT_FDCWD, file, AT_FDCWD, location.file, flags) != 0) return status_of_errno(errno);
  return fsync(folder.get()) == 0 ? 0 : status_of_errno(errno);
}

}  // namespace

syserr_t check_format(sqlite3* database) {
  int application_id = 0, version = 0;
  syserr_t status = query_integer(database, "PRAGMA application_id", &application_id);
  if (status == 0) status = query_integer(database, "PRAGMA user_version", &version);
  if (status != 0) return status;
  if (application_id != store_application_id || version != store_format_version) return SYSERR_PSS_NOT_A_STORE;
  return check_schema(database);
}

syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source) {
  PrivateFolder workplace;
  syserr_t status = workplace.make(location.folder);
  if (status != 0) return status;
  const FileDescriptor file(open(workplace.file(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file.get() < 0 || fchmod(file.get(), 0600) != 0) return status_of_errno(errno);

  status = build_store(workplace.file(), source);
  if (status != 0) return status;
  if (fsync(file.get()) != 0) return status_of_errno(errno);
  status = clear_leftovers(location, existing, workplace);
  if (status != 0) return status;
  return move_to(location, existing, workplace.file());
}

}  // namespace pss_embedded
