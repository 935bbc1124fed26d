#include "platform/embedded/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "platform/embedded/database.h"
#include "platform/embedded/file_descriptor.h"
#include "platform/embedded/pss_embedded.h"
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

// Memory of SQLite, which lets a lack of it be tested, and spares the stack of the caller's thread.
struct FreeMemory {
  void operator()(void* memory) const { sqlite3_free(memory); }
};

bool write_fully(int fd, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

// Copies the file that `source` has open. Read through SQLite's own handle: to open the file a second time and close it
// would drop the locks that this process has on it. As long as nothing was written, the file is the committed state.
syserr_t copy_file(sqlite3* source, int target) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(source, "main", SQLITE_FCNTL_FILE_POINTER, static_cast<void*>(&file));
  if (file == nullptr || file->pMethods == nullptr) return SYSERR_PSS_IO;
  constexpr int chunk_size = 65536;
  const std::unique_ptr<void, FreeMemory> chunk(sqlite3_malloc(chunk_size));
  if (chunk == nullptr) return SYSERR_PSS_NO_MEMORY;
  sqlite3_int64 size = 0;
  int result = file->pMethods->xFileSize(file, &size);
  for (sqlite3_int64 offset = 0; result == SQLITE_OK && offset < size; offset += chunk_size) {
    const int length = static_cast<int>(std::min<sqlite3_int64>(chunk_size, size - offset));
    result = file->pMethods->xRead(file, chunk.get(), length, offset);
    if (result == SQLITE_OK && !write_fully(target, static_cast<char*>(chunk.get()), static_cast<size_t>(length))) {
      return status_of_errno(errno);
    }
  }
  return status_of_sqlite(result);
}

// Fills the empty file at `file` with a store and returns its digest. The file is private until it is whole and synced,
// so that it needs neither a journal nor syncs of its own.
syserr_t build_store(const char* file, sqlite3* source, Digest* digest) {
  Database target;
  syserr_t status = open_database(file, SQLITE_OPEN_READWRITE, 0, &target);
  if (status != 0) return status;
  sqlite3_db_config(target.get(), SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);  // it forbids to do without a journal
  // Rows that come in key order need no cache but for the pages along the edge of the tree.
  status = run(target.get(),
               "PRAGMA page_size=8192; PRAGMA cache_size=-512; PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN");
  if (status == 0) status = create_format(target.get());
  if (status == 0 && source != nullptr) status = copy_records(source, target.get(), digest);
  if (status == 0) status = write_digest(target.get(), *digest);
  if (status == 0) status = run(target.get(), "COMMIT");
  return status;
}

}  // namespace

syserr_t create_store_file(const Location& location, Existing existing, const Source& source) {
  // Opened first, so that a directory that cannot be synced is found while nothing is done yet.
  const FileDescriptor directory(open(location.directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() < 0) return status_of_errno(errno);
  ScratchDirectory scratch;
  syserr_t status = scratch.make(location.directory);
  if (status != 0) return status;
  const FileDescriptor file(open(scratch.store(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file.get() < 0 || fchmod(file.get(), 0600) != 0) return status_of_errno(errno);

  Digest digest;
  if (source.database == nullptr || source.has_changes) {
    status = build_store(scratch.store(), source.database, &digest);
  } else {
    status = copy_file(source.database, file.get());
    if (status == 0) status = check_store(scratch.store(), &digest);
  }
  if (status != 0) return status;
  if (fsync(file.get()) != 0) return status_of_errno(errno);
  status = make_way(location, existing, digest, directory.get(), scratch.discarded());
  if (status != 0) return status;
  const int renamed = existing == Existing::refuse ? rename_to_free_name(scratch.store(), location.file)
                                                   : rename(scratch.store(), location.file);
  if (renamed != 0) return status_of_errno(errno);
  return fsync(directory.get()) == 0 ? 0 : status_of_errno(errno);
}

}  // namespace pss_embedded
