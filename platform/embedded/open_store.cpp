#include "platform/embedded/open_store.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/embedded/deadline.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_format.h"
#include "platform/syserr.h"

namespace pss_embedded {
namespace {

// Binds a datum. `lifetime` is SQLITE_STATIC if the datum does not change until the statement is stepped, else
// SQLITE_TRANSIENT.
int bind(sqlite3_stmt* statement, int parameter, const pss_datum_t& datum, sqlite3_destructor_type lifetime) {
  if (datum.siz == 0) return sqlite3_bind_zeroblob(statement, parameter, 0);
  return sqlite3_bind_blob64(statement, parameter, datum.ptr, datum.siz, lifetime);
}

bool is_same_location(const Location& one, const Location& other) {
  struct stat one_directory, other_directory;
  return strcmp(one.name, other.name) == 0 && fstat(one.directory.get(), &one_directory) == 0 &&
         fstat(other.directory.get(), &other_directory) == 0 && is_same_file(one_directory, other_directory);
}

}  // namespace

// ---- From file to file ----

syserr_t OpenStore::open(const char* url, int wait_ms) {
  const syserr_t status = locate(url, &location_);
  return status != 0 ? status : open_file(location_, Access::change, wait_ms, &file_);
}

syserr_t OpenStore::open_copy(const char* url, int wait_ms) {
  is_copy_ = true;
  Location location;
  StoreFile file;
  const syserr_t status = locate(url, &location);
  return status != 0 ? status : open_file(location, Access::read, wait_ms, &file);
}

// Reads and verifies the file, and keeps its lock only if it can be changed. If another program wrote to the file
// meanwhile, the damage is a mixture of two states, so tries again until the deadline.
syserr_t OpenStore::open_file(const Location& location, Access access, int wait_ms, StoreFile* file) {
  Deadline deadline(wait_ms);
  syserr_t status;
  do {
    Image image;
    status = file->open(location, access, deadline.left_ms());
    if (status == 0) status = file->read(&image);
    const bool may_be_mixed = status == 0 && file->may_be_mixed(location, image);
    if (!file->can_change()) file->unlock();
    if (status == 0) status = use(&image, Check::all);
    if (status == SYSERR_PSS_DAMAGED && may_be_mixed) status = SYSERR_PSS_BUSY;
  } while (status == SYSERR_PSS_BUSY && deadline.pause());
  return status;
}

syserr_t OpenStore::open_descriptor(int fd) {
  is_copy_ = true;
  Image image;
  const syserr_t status = fd >= 0 ? read_image(fd, &image) : 0;
  return status != 0 ? status : use(&image, Check::none);
}

syserr_t OpenStore::use(Image* image, Check check) {
  const bool is_new = image->bytes == nullptr;
  statements_ = {};  // of an earlier attempt
  syserr_t status = open_image(image, &database_);
  if (status == 0 && check == Check::none) accept_schema(database_.get());
  if (status == 0 && is_new) status = create_format(database_.get());
  if (status == 0) status = run(database_.get(), "BEGIN");
  if (status == 0) {
    status = check == Check::all ? check_store(database_.get(), &digest_) : read_digest(database_.get(), &digest_);
  }
  return status != 0 ? status : prepare_statements();
}

syserr_t OpenStore::prepare_statements() {
  const struct {
    Statement* statement;
    const char* sql;
  } statements[] = {
      {&statements_.at_or_after, "SELECT key, value, checksum FROM record WHERE key >= ?1 ORDER BY key"},
      {&statements_.after, "SELECT key, value, checksum FROM record WHERE key > ?1 ORDER BY key"},
      {&statements_.at_end, "SELECT key, value, checksum FROM record ORDER BY key DESC"},
      {&statements_.before, "SELECT key, value, checksum FROM record WHERE key < ?1 ORDER BY key DESC"},
      {&statements_.exact, "SELECT key, value, checksum FROM record WHERE key = ?1"},
      {&statements_.replace, "REPLACE INTO record VALUES(?1, ?2, ?3)"},
      {&statements_.insert, "INSERT INTO record VALUES(?1, ?2, ?3) ON CONFLICT(key) DO NOTHING"},
      {&statements_.remove, "DELETE FROM record WHERE key = ?1"},
  };
  for (const auto& [statement, sql] : statements) {
    const syserr_t status = prepare(database_.get(), sql, statement);
    if (status != 0) return status;
  }
  return 0;
}

// Commits to memory, because image_of() returns committed pages only.
syserr_t OpenStore::commit() {
  if (is_committed_) return 0;
  save_key();
  syserr_t status = update_digest(database_.get(), &digest_);
  if (status == 0) status = run(database_.get(), "COMMIT; BEGIN");
  is_committed_ = status == 0;
  return note_failure(status);
}

// Removes the free pages if they are more than half of the store, because every later open reads them.
syserr_t OpenStore::compact() {
  int pages = 0, free_pages = 0;
  syserr_t status = query_integer(database_.get(), "PRAGMA page_count", &pages);
  if (status == 0) status = query_integer(database_.get(), "PRAGMA freelist_count", &free_pages);
  if (status != 0 || free_pages <= pages / 2) return status;
  statements_ = {};  // VACUUM fails while statements exist
  return run(database_.get(), "COMMIT; VACUUM");
}

syserr_t OpenStore::get_content(Content* content) {
  content->digest = digest_;
  return image_of(database_.get(), &content->bytes, &content->size);
}

syserr_t OpenStore::close() {
  const syserr_t status = save();
  if (status != 0 && !is_copy_) log_failed_close(status);
  return status;
}

// After a downgrade the library ignores the status of pss_close, and never traces it: nothing else tells this failure.
void OpenStore::log_failed_close(syserr_t status) const {
  char link[32], directory[512];
  snprintf(link, sizeof link, "/proc/self/fd/%d", location_.directory.get());
  const ssize_t size = readlink(link, directory, sizeof directory);
  syslog(LOG_DAEMON | LOG_ERR, "vrrp: store %.*s/%s: pss_close failed: 0x%x (%s); %s",
         size < 0 ? 0 : static_cast<int>(size), directory, location_.name, status, syserr2str(status),
         failure_ != 0 ? "every change was rolled back" : "it has all changes or none, run vrrpconvert check");
}

syserr_t OpenStore::save() {
  leave();
  if (failure_ != 0 || is_copy_ || !has_changes_) return failure_;
  Content content;
  syserr_t status = commit();
  if (status == 0) status = compact();
  if (status == 0) status = get_content(&content);
  return status != 0 ? status : update_store(location_, content, file_.status());
}

syserr_t OpenStore::snapshot(const char* url, Existing existing, bool inherits, uint32* kept) {
  Location target;
  Content content;
  syserr_t status = locate(url, &target);
  // Refuse a snapshot to the store's own path: pss_close replaces the file there.
  if (status == 0 && !is_copy_ && is_same_location(target, location_)) return SYSERR_PSS_BAD_ARGUMENT;
  if (status == 0) status = commit();
  if (status == 0) status = get_content(&content);
  return status != 0 ? status : put_store(target, content, existing, inherits, kept);
}

syserr_t OpenStore::get_digest(Digest* digest) {
  const syserr_t status = commit();
  *digest = digest_;
  return status;
}

syserr_t OpenStore::write_image(int fd) {
  Content content;
  syserr_t status = commit();
  if (status == 0) status = get_content(&content);
  return status != 0 ? status : write_bytes(fd, content.bytes, content.size);
}

// Every SQLite status passes through here. After a failure SQLite may have ended the transaction with a part of its
// changes.
syserr_t OpenStore::note_failure(syserr_t status) {
  if (status != 0) failure_ = status;
  return status;
}

// ---- Cursor ----

syserr_t OpenStore::move_to_key(const pss_datum_t& key) { return seek(statements_.at_or_after.get(), &key); }

syserr_t OpenStore::move_to_location(pss_location_t location) {
  static const pss_datum_t before_all = {};
  switch (location) {
    case PSS_FIRST_KEY:
      return seek(statements_.at_or_after.get(), &before_all);
    case PSS_LAST_KEY:
      return seek(statements_.at_end.get(), nullptr);
    case PSS_NEXT_KEY:
      return advance(statements_.after, statements_.at_or_after);
    case PSS_PREVIOUS_KEY:
      return advance(statements_.before, statements_.at_end);
    case PSS_CURRENT_KEY:
      return read_value();
    case PSS_NULL_KEY:
      leave();
      return SYSERR_PSS_NOKEY;
  }
  return SYSERR_PSS_BAD_ARGUMENT;
}

syserr_t OpenStore::read_value() {
  switch (cursor_) {
    case Cursor::on_row:
      return 0;
    case Cursor::on_saved_key:
      return read_saved_key();
    default:
      return SYSERR_PSS_NOKEY;
  }
}

pss_datum_t* OpenStore::key() {
  key_ = {const_cast<void*>(row_.key), row_.key_size};
  return &key_;
}

const pss_datum_t* OpenStore::value() {
  value_ = {const_cast<void*>(row_.value), row_.value_size};
  return &value_;
}

// Starts `statement`, at `key` if it has a parameter, and moves the cursor to its first row. `key` must not belong to
// the current row.
syserr_t OpenStore::seek(sqlite3_stmt* statement, const pss_datum_t* key) {
  leave();
  const int bound = key != nullptr ? bind(statement, 1, *key, SQLITE_TRANSIENT) : SQLITE_OK;
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  running_ = statement;
  return step();
}

// Moves the cursor to the next row of the running statement, or off the store at its end.
syserr_t OpenStore::step() {
  const int result = sqlite3_step(running_);
  if (result == SQLITE_DONE) {
    leave();
    return SYSERR_PSS_NOKEY;
  }
  const syserr_t status = result == SQLITE_ROW ? read_row(running_, &row_) : status_of_sqlite(result);
  if (status != 0) {
    leave();
    return note_failure(status);
  }
  cursor_ = Cursor::on_row;
  return 0;
}

// Moves the cursor to the next row in the direction of `statement`, which starts after a key.
syserr_t OpenStore::advance(const Statement& statement, const Statement& same_direction) {
  if (cursor_ == Cursor::off) return SYSERR_PSS_NOKEY;
  if (cursor_ == Cursor::on_row && (running_ == statement.get() || running_ == same_direction.get())) return step();
  save_key();
  const pss_datum_t saved = {saved_key_, saved_key_size_};
  return seek(statement.get(), &saved);
}

syserr_t OpenStore::read_saved_key() {
  sqlite3_reset(statements_.exact.get());
  const int bound = bind(statements_.exact.get(), 1, {saved_key_, saved_key_size_}, SQLITE_STATIC);
  const int result = bound == SQLITE_OK ? sqlite3_step(statements_.exact.get()) : bound;
  if (result == SQLITE_DONE) return SYSERR_PSS_NOKEY;
  return note_failure(result == SQLITE_ROW ? read_row(statements_.exact.get(), &row_) : status_of_sqlite(result));
}

void OpenStore::leave() {
  // Ignore the result: a reset repeats the result of the last step.
  if (running_ != nullptr) (void)sqlite3_reset(running_);
  running_ = nullptr;
  (void)sqlite3_reset(statements_.exact.get());
  cursor_ = Cursor::off;
}

void OpenStore::save_key() {
  if (cursor_ == Cursor::off) return;
  if (cursor_ == Cursor::on_row) {
    memcpy(saved_key_, row_.key, row_.key_size);
    saved_key_size_ = row_.key_size;
  }
  leave();
  cursor_ = Cursor::on_saved_key;
}

// ---- Changes ----

// Arguments may point into the current row, which the write invalidates, so copy them unless the cursor is off the
// store.
sqlite3_destructor_type OpenStore::lifetime_of_arguments() const {
  return cursor_ == Cursor::off ? SQLITE_STATIC : SQLITE_TRANSIENT;
}

syserr_t OpenStore::store(uint32 mode, const pss_datum_t& key, const pss_datum_t& value) {
  if (!can_change()) return SYSERR_PSS_READ_ONLY;
  sqlite3_stmt* statement = mode == PSS_REPLACE ? statements_.replace.get() : statements_.insert.get();
  int bound = bind(statement, 1, key, lifetime_of_arguments());
  if (bound == SQLITE_OK) bound = bind(statement, 2, value, lifetime_of_arguments());
  if (bound == SQLITE_OK) {
    const uint64_t checksum = row_checksum(key.ptr, key.siz, value.ptr, value.siz);
    bound = sqlite3_bind_int64(statement, 3, static_cast<sqlite3_int64>(checksum));
  }
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  return write(statement, SYSERR_PSS_EXISTS);
}

syserr_t OpenStore::remove(const pss_datum_t& key) {
  if (!can_change()) return SYSERR_PSS_READ_ONLY;
  const int bound = bind(statements_.remove.get(), 1, key, lifetime_of_arguments());
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  return write(statements_.remove.get(), SYSERR_PSS_NOKEY);
}

// Runs a bound statement that changes at most one row.
syserr_t OpenStore::write(sqlite3_stmt* statement, syserr_t status_if_unchanged) {
  save_key();
  (void)sqlite3_step(statement);  // the reset returns its result
  const syserr_t status = note_failure(status_of_sqlite(sqlite3_reset(statement)));
  if (status != 0) return status;
  if (sqlite3_changes(database_.get()) == 0) return status_if_unchanged;
  has_changes_ = true;
  is_committed_ = false;
  return 0;
}

}  // namespace pss_embedded
