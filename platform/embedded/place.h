// How a store's bytes get to their place: in a new file beside it, synced, which then takes the name. At any moment the
// name is whole, no file has two names, and nothing that is to be kept is without a name of its own.
#ifndef PLATFORM_EMBEDDED_PLACE_H
#define PLATFORM_EMBEDDED_PLACE_H

#include <sqlite3.h>
#include <sys/stat.h>

#include "platform/embedded/digest.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

struct Content {
  const void* bytes;  // an image
  sqlite3_int64 size;
  Digest digest;  // of its records
};

enum class Existing {
  refuse,   // an existing file is an error
  replace,  // a file is lost; a directory and sidecar files are kept
  keep      // it is lost only where it is an intact store with the same records, else kept as NAME.1, NAME.2, ...
};

// Puts a new store at `place`. With `inherits` it gets the owner, group and permissions of a regular file that it
// replaces, else this user's and mode 0600. Reports in `*kept` the number in the name under which an existing file or
// its sidecar files are kept, or 0. Returns 0; SYSERR_PSS_IO, after which the store may be in place, whole; or the
// status that says why it is not.
syserr_t put_store(const Location& place, const Content& content, Existing existing, bool inherits, uint32* kept);

// Puts changed content in the place of `file`, which this process has locked, with its owner, group and permissions.
// Returns 0, SYSERR_PSS_BUSY where another process gave the name to another file, and otherwise as put_store.
syserr_t update_store(const Location& place, const Content& content, const struct stat& file);

}  // namespace pss_embedded

#endif
