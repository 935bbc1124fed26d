// One open store: its records in memory, its cursor, and the file that it came from.
#ifndef PLATFORM_EMBEDDED_STORE_H
#define PLATFORM_EMBEDDED_STORE_H

#include "platform/embedded/database.h"
#include "platform/embedded/digest.h"
#include "platform/embedded/location.h"
#include "platform/embedded/place.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/row.h"
#include "platform/embedded/store_file.h"
#include "platform/pss.h"

namespace pss_embedded {

// Operations return 0, SYSERR_PSS_NOKEY when there is no such record, or a failure.
class Store {
 public:
  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Each reads a store into memory. Another program's lock is waited for up to `wait_ms` milliseconds.

  // The store at `url`, to be changed; where that is impossible, to be read. Every record is checked.
  syserr_t open(const char* url, int wait_ms);

  // A copy of it, which may be changed and is never written. Other processes are kept out only while it is read. Every
  // record is checked.
  syserr_t open_copy(const char* url, int wait_ms);

  // A copy of the image that write_image wrote to the start of the file `fd`, which is trusted; -1 stands for an empty
  // store.
  syserr_t open_descriptor(int fd);

  // Puts what was changed in the store's place, durably, or keeps nothing. Ends the use of the object.
  syserr_t close();

  // The failure after which the store in memory is of no use, or 0. The object is then only good for close().
  syserr_t failure() const { return failure_; }

  // Places the cursor on `key`, which is not the cursor's own, or on the first key behind it.
  syserr_t move_to_key(const pss_datum_t& key);
  syserr_t move_to_location(pss_location_t location);
  syserr_t read_value();

  // The record under the cursor, after a move or a read that returned 0 and until the next operation.
  pss_datum_t* key();
  const pss_datum_t* value();

  syserr_t store(uint32 mode, const pss_datum_t& key, const pss_datum_t& value);
  syserr_t remove(const pss_datum_t& key);

  // Puts a store with the records of this one at `url`, as put_store.
  syserr_t snapshot(const char* url, Existing existing, bool inherits, uint32* kept);

  // Of all records, changes included.
  syserr_t get_digest(Digest* digest);

  // Writes the store's image to the file `fd`.
  syserr_t write_image(int fd);

 private:
  // A SELECT's results are undefined once its table is written, so a write saves the key and the next move seeks again.
  enum class Cursor { off, on_row, on_saved_key };

  bool can_change() const { return is_copy_ || file_.can_change(); }
  enum class Check { all, none };
  syserr_t use(Image* image, Check check);
  syserr_t prepare_statements();
  syserr_t get_content(Content* content);
  syserr_t commit();
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
  bool is_committed_ = true;  // whether the image has them
  Digest digest_;             // of the records in the image
  Location location_;         // of a store that is no copy
  StoreFile file_;            // the same

  Database database_;
  Statements statements_;
  Cursor cursor_ = Cursor::off;
  sqlite3_stmt* running_ = nullptr;  // the statement whose row the cursor is on
  Row row_ = {};
  uint8 saved_key_[PSS_EMBEDDED_KEY_MAX];
  uint32 saved_key_size_ = 0;
  pss_datum_t key_ = {};
  pss_datum_t value_ = {};
};

}  // namespace pss_embedded

#endif
