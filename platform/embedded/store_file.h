// How the file of a store comes into being.
#ifndef PLATFORM_EMBEDDED_STORE_FILE_H
#define PLATFORM_EMBEDDED_STORE_FILE_H

#include <sqlite3.h>

#include "platform/embedded/existing_file.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// Renames a new store into place at `location`, atomically, with mode 0600: an empty one, or with the records of
// `source` when that is not null. `existing` says what becomes of an existing file.
syserr_t create_store_file(const Location& location, Existing existing, sqlite3* source);

}  // namespace pss_embedded

#endif
