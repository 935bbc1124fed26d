// An open store: its records in memory, its cursor, and its file.
#ifndef PLATFORM_EMBEDDED_STORE_H
#define PLATFORM_EMBEDDED_STORE_H

#include "platform/embedded/database.h"
#include "platform/embedded/digest.h"
#include "platform/embedded/location.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/row.h"
#include "platform/embedded/store_file.h"
#include "platform/embedded/store_writer.h"
#include "platform/pss.h"

namespace pss_embedded {

// Operations return 0, SYSERR_PSS_NOKEY if there is no such record, or the status of a failure.
class OpenStore {
 public:
  OpenStore() = default;
  OpenStore(const OpenStore&) = delete;
  OpenStore& operator=(const OpenStore&) = delete;

  // The three open functions read a store into memory. open() and open_copy() wait up to `wait_ms` milliseconds for
  // another process.

  // Opens the store at `url` for changes, or for reading if it cannot be changed. Verifies every record.
  syserr_t open(const char* url, int wait_ms);

  // Opens a working copy of the store, which may be changed and is never written. Locks the store only while it reads.
  // Verifies every record.
  syserr_t open_copy(const char* url, int wait_ms);

  // Opens a working copy of the image that write_image wrote to the start of the file `fd`. Does not verify the image.
  // If `fd` is -1, opens an empty store.
  syserr_t open_descriptor(int fd);

  // Replaces the store durably with the changed one, or rolls back. The object is unusable afterwards.
  syserr_t close();

  // Returns the failure that made the store in memory unusable, or 0. After a failure only close() may be called.
  syserr_t failure() const { return failure_; }

  // Moves the cursor to `key`, or to the next key in order. `key` must not point into the current row.
  syserr_t move_to_key(const pss_datum_t& key);
  syserr_t move_to_location(pss_location_t location);
  syserr_t read_value();

  // Return the record under the cursor, after a move or read that returned 0. Valid until the next operation.
  pss_datum_t* key();
  const pss_datum_t* value();

  syserr_t store(uint32 mode, const pss_datum_t& key, const pss_datum_t& value);
  syserr_t remove(const pss_datum_t& key);

  // Writes a store with the records of this one to `url`; see put_store.
  syserr_t snapshot(const char* url, Existing existing, bool inherits, uint32* kept);

  // Computes the digest of all records, changes included.
  syserr_t get_digest(Digest* digest);

  // Writes the store's image to the file `fd`.
  syserr_t write_image(int fd);

 private:
  // The results of a SELECT are undefined after a write to its table, so a write saves the key and the next move seeks
  // again.
  enum class Cursor { off, on_row, on_saved_key };

  bool can_change() const { return is_copy_ || file_.can_change(); }
  syserr_t open_file(const Location& location, Access access, int wait_ms, StoreFile* file);
  enum class Check { all, none };
  syserr_t use(Image* image, Check check);
  syserr_t prepare_statements();
  syserr_t get_content(Content* content);
  syserr_t commit();
  syserr_t save();
  void log_failed_close(syserr_t status) const;
  syserr_t compact();
  syserr_t note_failure(syserr_t status);

  syserr_t seek(sqlite3_stmt* statement, const pss_datum_t* key);
  syserr_t step();
  syserr_t advance(const Statement& statement, const Statement& same_direction);
  syserr_t read_saved_key();
  void leave();
  void save_key();
  sqlite3_destructor_type lifetime_of_arguments() const;
  syserr_t write(sqlite3_stmt* statement, syserr_t status_if_unchanged);

  struct Statements {
    Statement at_or_after, after, at_end, before, exact;
    Statement replace, insert, remove;
  };

  syserr_t failure_ = 0;
  bool is_copy_ = false;
  bool has_changes_ = false;  // since the image was read
  bool is_committed_ = true;  // whether the image contains the changes
  Digest digest_;             // of the records in the image
  Location location_;         // unless this is a working copy
  StoreFile file_;            // unless this is a working copy

  Database database_;
  Statements statements_;
  Cursor cursor_ = Cursor::off;
  sqlite3_stmt* running_ = nullptr;  // the statement of the current row
  Row row_ = {};
  uint8 saved_key_[PSS_EMBEDDED_KEY_MAX];
  uint32 saved_key_size_ = 0;
  pss_datum_t key_ = {};
  pss_datum_t value_ = {};
};

}  // namespace pss_embedded

#endif
