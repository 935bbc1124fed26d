#include "platform/embedded/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_file.h"
#include "platform/embedded/store_format.h"
#include "platform/syserr.h"

namespace pss_embedded {
namespace {

constexpr int wait_ms = 5000;  // for a store that is open elsewhere
constexpr int attempts_max = 10;

bool can_write(const char* path) { return faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) == 0; }

// `lifetime` is SQLITE_STATIC where the datum stays as it is until the statement was stepped, else SQLITE_TRANSIENT.
int bind(sqlite3_stmt* statement, int parameter, const pss_datum_t& datum, sqlite3_destructor_type lifetime) {
  if (datum.siz == 0) return sqlite3_bind_zeroblob(statement, parameter, 0);
  return sqlite3_bind_blob64(statement, parameter, datum.ptr, datum.siz, lifetime);
}

}  // namespace

// ---- Transaction ----

syserr_t Store::open(const Location& location) {
  struct stat own;
  if (lstat(location.file, &own) != 0) return status_of_errno(errno);
  if (!S_ISREG(own.st_mode)) return SYSERR_PSS_NOT_A_STORE;
  static_assert(sizeof file_ == sizeof location.file);
  memcpy(file_, location.file, sizeof file_);
  if (!can_trust_sidecars(file_, own.st_uid)) return SYSERR_PSS_UNTRUSTED;

  // A store that is replaced while this process waits for its lock is not the one that the name means any more.
  int has_moved = 1;
  for (int attempt = 0; has_moved != 0; ++attempt) {
    if (attempt == attempts_max) return SYSERR_PSS_BUSY;
    const syserr_t begun = begin(location);
    if (begun != 0) return begun;
    sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &has_moved);
  }
  Digest digest;
  const syserr_t checked = check_records(database_.get(), &digest);
  return checked != 0 ? checked : prepare_statements();
}

syserr_t Store::begin(const Location& location) {
  // Without its directory a store cannot be written either: that is where the journal goes.
  const bool permitted = can_write(location.file) && can_write(location.directory);
  syserr_t status =
      open_database(location.file, permitted ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY, wait_ms, &database_);
  // Looked at before the journal is set, which would change a file that is not ours.
  if (status == 0) status = check_format(database_.get());
  bool has_rollback_journal = false;
  if (status == 0) {
    status = pragma_answers(database_.get(), "PRAGMA journal_mode=DELETE", "delete", &has_rollback_journal);
  }
  if (status == 0 && !has_rollback_journal) status = SYSERR_PSS_READ_ONLY;
  if (status != 0) return status;

  // The exclusive lock before the first read. A lesser one lets readers stay, and every write that does not fit the
  // cache would then wait for them anew.
  writable_ = sqlite3_db_readonly(database_.get(), "main") == 0;
  if (permitted && !writable_) return SYSERR_PSS_NOT_A_STORE;  // the header names a format that SQLite does not write
  status = run(database_.get(), writable_ ? "BEGIN EXCLUSIVE" : "BEGIN");
  return status != 0 ? status : check_format(database_.get());
}

syserr_t Store::prepare_statements() {
  const struct {
    Statement* statement;
    const char* sql;
  } statements[] = {
      {&at_or_after_, "SELECT key, value, checksum FROM record WHERE key >= ?1 ORDER BY key"},
      {&after_, "SELECT key, value, checksum FROM record WHERE key > ?1 ORDER BY key"},
      {&at_end_, "SELECT key, value, checksum FROM record ORDER BY key DESC"},
      {&before_, "SELECT key, value, checksum FROM record WHERE key < ?1 ORDER BY key DESC"},
      {&exact_, "SELECT key, value, checksum FROM record WHERE key = ?1"},
      {&replace_, "REPLACE INTO record VALUES(?1, ?2, ?3)"},
      {&insert_, "INSERT INTO record VALUES(?1, ?2, ?3) ON CONFLICT(key) DO NOTHING"},
      {&delete_, "DELETE FROM record WHERE key = ?1"},
  };
  for (const auto& [statement, sql] : statements) {
    const syserr_t status = prepare(database_.get(), sql, statement);
    if (status != 0) return status;
  }
  return 0;
}

syserr_t Store::close() {
  leave();
  syserr_t status = failure_;
  if (status == 0 && changed_) status = commit();
  // A transaction that could not be committed is undone here, or by the next process that opens the store.
  if (sqlite3_get_autocommit(database_.get()) == 0) (void)run(database_.get(), "ROLLBACK");
  return status;
}

syserr_t Store::commit() {
  Digest digest;
  syserr_t status = compute_digest(database_.get(), &digest);
  if (status == 0) status = write_digest(database_.get(), digest);
  return status != 0 ? status : run(database_.get(), "COMMIT");
}

// Every status of the transaction's work passes here.
syserr_t Store::note_failure(syserr_t status) {
  // After these SQLite may have undone the transaction, and would commit whatever follows piece by piece.
  if (status == SYSERR_PSS_DAMAGED || status == SYSERR_PSS_IO || status == SYSERR_PSS_NO_SPACE ||
      status == SYSERR_PSS_NO_MEMORY) {
    failure_ = status;
  }
  return status;
}

// ---- Cursor ----

syserr_t Store::move_to_key(const pss_datum_t& key) { return seek(at_or_after_.get(), &key); }

syserr_t Store::move_to_location(pss_location_t location) {
  static const pss_datum_t before_all = {};
  switch (location) {
    case PSS_FIRST_KEY:
      return seek(at_or_after_.get(), &before_all);
    case PSS_LAST_KEY:
      return seek(at_end_.get(), nullptr);
    case PSS_NEXT_KEY:
      return advance(after_, at_or_after_);
    case PSS_PREVIOUS_KEY:
      return advance(before_, at_end_);
    case PSS_CURRENT_KEY:
      return read_value();
    case PSS_NULL_KEY:
      leave();
      return SYSERR_PSS_NOKEY;
  }
  return SYSERR_PSS_BAD_ARGUMENT;
}

syserr_t Store::read_value() {
  switch (cursor_) {
    case Cursor::on_row:
      return 0;
    case Cursor::on_saved_key:
      return read_saved_key();
    default:
      return SYSERR_PSS_NOKEY;
  }
}

pss_datum_t* Store::key() {
  key_ = {const_cast<void*>(row_.key), row_.key_size};
  return &key_;
}

const pss_datum_t* Store::value() {
  value_ = {const_cast<void*>(row_.value), row_.value_size};
  return &value_;
}

// Starts `statement`, at `key` where it takes one, and places the cursor on its first row. `key` is not of the row that
// is left here.
syserr_t Store::seek(sqlite3_stmt* statement, const pss_datum_t* key) {
  leave();
  const int bound = key != nullptr ? bind(statement, 1, *key, SQLITE_TRANSIENT) : SQLITE_OK;
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  running_ = statement;
  return step();
}

// Places the cursor on the next row of the running statement, or off the store at its end.
syserr_t Store::step() {
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

// Moves the cursor to the next row in the direction of `statement`, which starts behind a key.
syserr_t Store::advance(const Statement& statement, const Statement& same_direction) {
  if (cursor_ == Cursor::off) return SYSERR_PSS_NOKEY;
  if (cursor_ == Cursor::on_row && (running_ == statement.get() || running_ == same_direction.get())) return step();
  save_key();
  const pss_datum_t saved = {saved_key_, saved_key_size_};
  return seek(statement.get(), &saved);
}

syserr_t Store::read_saved_key() {
  sqlite3_reset(exact_.get());
  const int bound = bind(exact_.get(), 1, {saved_key_, saved_key_size_}, SQLITE_STATIC);
  const int result = bound == SQLITE_OK ? sqlite3_step(exact_.get()) : bound;
  if (result == SQLITE_DONE) return SYSERR_PSS_NOKEY;
  return note_failure(result == SQLITE_ROW ? read_row(exact_.get(), &row_) : status_of_sqlite(result));
}

void Store::leave() {
  // A reset reports again what the step before it reported.
  if (running_ != nullptr) (void)sqlite3_reset(running_);
  running_ = nullptr;
  if (exact_ != nullptr) (void)sqlite3_reset(exact_.get());
  cursor_ = Cursor::off;
}

void Store::save_key() {
  if (cursor_ == Cursor::off) return;
  if (cursor_ == Cursor::on_row) {
    memcpy(saved_key_, row_.key, row_.key_size);
    saved_key_size_ = row_.key_size;
  }
  leave();
  cursor_ = Cursor::on_saved_key;
}

// ---- Changes ----

// Arguments may alias the current row, which the write invalidates; they are copied unless the cursor is off.
sqlite3_destructor_type Store::lifetime_of_arguments() const {
  return cursor_ == Cursor::off ? SQLITE_STATIC : SQLITE_TRANSIENT;
}

syserr_t Store::store(uint32 mode, const pss_datum_t& key, const pss_datum_t& value) {
  if (!writable_) return SYSERR_PSS_READ_ONLY;
  sqlite3_stmt* statement = mode == PSS_REPLACE ? replace_.get() : insert_.get();
  int bound = bind(statement, 1, key, lifetime_of_arguments());
  if (bound == SQLITE_OK) bound = bind(statement, 2, value, lifetime_of_arguments());
  if (bound == SQLITE_OK) {
    const uint64_t checksum = row_checksum(key.ptr, key.siz, value.ptr, value.siz);
    bound = sqlite3_bind_int64(statement, 3, static_cast<sqlite3_int64>(checksum));
  }
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  return write(statement, SYSERR_PSS_EXISTS);
}

syserr_t Store::remove(const pss_datum_t& key) {
  if (!writable_) return SYSERR_PSS_READ_ONLY;
  const int bound = bind(delete_.get(), 1, key, lifetime_of_arguments());
  if (bound != SQLITE_OK) return note_failure(status_of_sqlite(bound));
  return write(delete_.get(), SYSERR_PSS_NOKEY);
}

// Runs a bound statement that changes one row or none.
syserr_t Store::write(sqlite3_stmt* statement, syserr_t status_if_unchanged) {
  save_key();
  (void)sqlite3_step(statement);  // its result is the reset's
  const syserr_t status = note_failure(status_of_sqlite(sqlite3_reset(statement)));
  if (status != 0) return status;
  if (sqlite3_changes(database_.get()) == 0) return status_if_unchanged;
  changed_ = true;
  return 0;
}

syserr_t Store::snapshot(const Location& target, Existing existing) {
  // A snapshot over its own store would take the store's place under the open transaction.
  struct stat own, there;
  if (stat(file_, &own) == 0 && lstat(target.file, &there) == 0 && own.st_dev == there.st_dev &&
      own.st_ino == there.st_ino) {
    return SYSERR_PSS_BAD_ARGUMENT;
  }
  const syserr_t status = create_store_file(target, existing, {database_.get(), changed_});
  // A target that cannot be written is no fault of this store; but reading it may have cost the transaction.
  const bool lost_transaction = sqlite3_get_autocommit(database_.get()) != 0;
  if (status != 0 && lost_transaction) failure_ = status;
  return status;
}

}  // namespace pss_embedded
