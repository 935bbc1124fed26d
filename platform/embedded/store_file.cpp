#include "platform/embedded/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

constexpr int busy_timeout_ms = 5000;

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

// The key of the row before, to see that keys ascend.
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

// A folder that only this user can enter, beside a target: nobody can guess, plant or follow what is built inside.
class PrivateFolder {
 public:
  PrivateFolder() = default;
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder() {
    if (folder_[0] == '\0') return;
    unlink(file_);  // gone already when it was brought to its place
    rmdir(folder_);
  }

  syserr_t make(const char* parent) {
    if (snprintf(folder_, sizeof folder_, "%s/.pss-XXXXXX", parent) >= static_cast<int>(sizeof folder_) ||
        snprintf(file_, sizeof file_, "%s/.pss-XXXXXX/store", parent) >= static_cast<int>(sizeof file_)) {
      folder_[0] = '\0';
      return SYSERR_PSS_BAD_URL;
    }
    if (mkdtemp(folder_) == nullptr) {
      const int error = errno;
      folder_[0] = '\0';
      return status_of_errno(error);
    }
    memcpy(file_, folder_, strlen(folder_));
    return 0;
  }

  const char* file() const { return file_; }

 private:
  char folder_[PATH_MAX] = "";
  char file_[PATH_MAX];
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
    for (int column = 0; column < 3; ++column) {
      const int bound = sqlite3_bind_value(insert.get(), column + 1, sqlite3_column_value(select.get(), column));
      if (bound != SQLITE_OK) return status_of_sqlite(bound);
    }
    sqlite3_step(insert.get());
    const int inserted = sqlite3_reset(insert.get());
    if (inserted != SQLITE_OK) return status_of_sqlite(inserted);
    ++digest->records;
    digest->checksum += row.checksum;
  }
  return status_of_sqlite(step);
}

// Fills the empty file at `file` with a store. The file is private until it is whole, so that it needs no journal.
syserr_t build_store(const char* file, sqlite3* source) {
  Database target;
  syserr_t status = open_database(file, SQLITE_OPEN_READWRITE, &target);
  if (status != 0) return status;
  sqlite3_db_config(target.get(), SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);  // it forbids to do without a journal
  char pragmas[160];
  snprintf(pragmas, sizeof pragmas,
           "PRAGMA page_size=8192; PRAGMA journal_mode=OFF; PRAGMA application_id=%d; PRAGMA user_version=%d; BEGIN",
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

// A journal that a dead writer left beside a store would be played back into its successor. The store goes first: alone
// it would be damaged, and absent is better.
syserr_t remove_leftovers(const char* file) {
  for (const char* suffix : {"-journal", "-wal", "-shm"}) {
    char leftover[PATH_MAX];
    if (snprintf(leftover, sizeof leftover, "%s%s", file, suffix) >= static_cast<int>(sizeof leftover)) {
      return SYSERR_PSS_BAD_URL;
    }
    struct stat status;
    if (lstat(leftover, &status) != 0) continue;
    if (unlink(file) != 0 && errno != ENOENT) return status_of_errno(errno);
    if (unlink(leftover) != 0) return status_of_errno(errno);
  }
  return 0;
}

syserr_t move_to(const Location& location, Existing existing, const char* file) {
  const unsigned flags = existing == Existing::refuse ? RENAME_NOREPLACE : 0;
  if (renameat2(AT_FDCWD, file, AT_FDCWD, location.file, flags) != 0) return status_of_errno(errno);
  const FileDescriptor folder(open(location.folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0 || fsync(folder.get()) != 0) return status_of_errno(errno);
  return 0;
}

}  // namespace

uint64_t row_checksum(const void* key, uint32 key_size, const void* value, uint32 value_size) {
  return XXH3_64bits_withSeed(value, value_size, XXH3_64bits(key, key_size));
}

syserr_t open_database(const char* file, int flags, Database* database) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(
      file, &opened, flags | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE, nullptr);
  database->reset(opened);  // there is one to close even when the opening failed
  if (result != SQLITE_OK) return status_of_sqlite(result);

  sqlite3_busy_timeout(opened, busy_timeout_ms);
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, PSS_EMBEDDED_VALUE_MAX + PSS_EMBEDDED_KEY_MAX + 64);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  // synchronous=EXTRA: without the sync of the folder behind the journal's removal, a power cut after a commit can
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

syserr_t read_row(sqlite3_stmt* statement, Row* row) {
  if (sqlite3_column_type(statement, 0) != SQLITE_BLOB || sqlite3_column_type(statement, 1) != SQLITE_BLOB ||
      sqlite3_column_type(statement, 2) != SQLITE_INTEGER) {
    return SYSERR_PSS_DAMAGED;
  }
  row->key = sqlite3_column_blob(statement, 0);
  row->key_size = static_cast<uint32>(sqlite3_column_bytes(statement, 0));
  row->value = sqlite3_column_blob(statement, 1);
  row->value_size = static_cast<uint32>(sqlite3_column_bytes(statement, 1));
  row->checksum = static_cast<uint64_t>(sqlite3_column_int64(statement, 2));
  // A null blob is an empty one, or a lack of memory.
  if ((row->key == nullptr || row->value == nullptr) && sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM) {
    return SYSERR_PSS_NO_MEMORY;
  }
  if (row->key_size == 0 || row->key_size > PSS_EMBEDDED_KEY_MAX) return SYSERR_PSS_DAMAGED;
  const uint64_t expected = row_checksum(row->key, row->key_size, row->value, row->value_size);
  return row->checksum == expected ? 0 : SYSERR_PSS_DAMAGED;
}

syserr_t check_format(sqlite3* database) {
  int application_id = 0, version = 0;
  syserr_t status = query_integer(database, "PRAGMA application_id", &application_id);
  if (status == 0) status = query_integer(database, "PRAGMA user_version", &version);
  if (status != 0) return status;
  if (application_id != store_application_id || version != store_format_version) return SYSERR_PSS_NOT_A_STORE;
  return check_schema(database);
}

syserr_t compute_digest(sqlite3* database, Digest* digest) {
  Statement statement;
  const syserr_t status = prepare(database, "SELECT key, value, checksum FROM record ORDER BY key", &statement);
  if (status != 0) return status;
  PreviousKey previous;
  int step;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    Row row;
    const syserr_t row_status = read_row(statement.get(), &row);
    if (row_status != 0) return row_status;
    if (!previous.precedes(row)) return SYSERR_PSS_DAMAGED;
    previous.set(row);
    ++digest->records;
    digest->checksum += row.checksum;
  }
  return status_of_sqlite(step);
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

syserr_t write_digest(sqlite3* database, const Digest& digest) {
  Statement statement;
  syserr_t status = prepare(database, "UPDATE digest SET records = ?1, checksum = ?2", &statement);
  if (status != 0) return status;
  sqlite3_bind_int64(statement.get(), 1, static_cast<sqlite3_int64>(digest.records));
  sqlite3_bind_int64(statement.get(), 2, static_cast<sqlite3_int64>(digest.checksum));
  return status_of_sqlite(sqlite3_step(statement.get()));
}

syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source) {
  PrivateFolder workplace;
  syserr_t status = workplace.make(location.folder);
  if (status != 0) return status;
  const FileDescriptor file(open(workplace.file(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  // The mode is set again because a umask may have taken the owner's bits.
  if (file.get() < 0 || fchmod(file.get(), 0600) != 0) return status_of_errno(errno);

  status = build_store(workplace.file(), source);
  if (status != 0) return status;
  if (fsync(file.get()) != 0) return status_of_errno(errno);
  if (existing == Existing::replace) status = remove_leftovers(location.file);
  if (status != 0) return status;
  return move_to(location, existing, workplace.file());
}

}  // namespace pss_embedded
