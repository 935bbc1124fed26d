// How the file of a store comes into being.
#ifndef PLATFORM_EMBEDDED_STORE_FILE_H
#define PLATFORM_EMBEDDED_STORE_FILE_H

#include <sqlite3.h>

#include "platform/embedded/existing_file.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// The store whose records a new one gets, if any. Its transaction is open.
struct Source {
  sqlite3* database = nullptr;
  bool has_changes = false;  // in its transaction
};

// Renames a new store into place at `location`, atomically, with mode 0600: an empty one, or with the records of
// `source`. `existing` says what becomes of an existing file.
syserr_t create_store_file(const Location& location, Existing existing, const Source& source);

}  // namespace pss_embedded

#endif
