// One open store: its transaction and its cursor.
#ifndef PLATFORM_EMBEDDED_STORE_H
#define PLATFORM_EMBEDDED_STORE_H

#include "platform/embedded/database.h"
#include "platform/embedded/existing_file.h"
#include "platform/embedded/location.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/row.h"
#include "platform/pss.h"

namespace pss_embedded {

// Operations return 0, SYSERR_PSS_NOKEY when there is no such record, or a failure.
class Store {
 public:
  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Opens the store at `location`, begins its transaction and checks every record.
  syserr_t open(const Location& location);

  // Ends the transaction: commits durably, or keeps nothing where that is impossible. Ends the use of the object too.
  syserr_t close();

  // The failure that made the transaction worthless, or 0. The object is then only good for close().
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
  syserr_t snapshot(const Location& target, Existing existing);

 private:
  // A SELECT's results are undefined once its table is written, so a write saves the key and the next move seeks again.
  enum class Cursor { off, on_row, on_saved_key };

  syserr_t begin(const Location& location);
  syserr_t prepare_statements();
  syserr_t commit();
  syserr_t note_failure(syserr_t status);

  syserr_t seek(sqlite3_stmt* statement, const pss_datum_t* key);
  syserr_t step();
  syserr_t advance(const Statement& statement, const Statement& same_direction);
  syserr_t read_saved_key();
  void leave();
  void save_key();
  sqlite3_destructor_type lifetime_of_arguments() const;
  syserr_t write(sqlite3_stmt* statement, syserr_t status_if_unchanged);

  syserr_t failure_ = 0;
  bool writable_ = false;
  bool changed_ = false;
  char file_[path_size];

  Database database_;
  Statement at_or_after_, after_, at_end_, before_, exact_;
  Statement replace_, insert_, delete_;

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
