// Writes a store: creates and syncs a new file in the same directory, and renames it to the path of the store. The path
// never names an incomplete store, no file has two names, and every kept file has a name. If there are sidecar files,
// or without RENAME_EXCHANGE, the path can be free for a moment. docs/store.md explains why names are exchanged.
#ifndef PLATFORM_EMBEDDED_STORE_WRITER_H
#define PLATFORM_EMBEDDED_STORE_WRITER_H

#include <sqlite3.h>
#include <sys/stat.h>

#include "platform/embedded/digest.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

struct Content {
  const void* bytes;  // the image
  sqlite3_int64 size;
  Digest digest;  // of the records
};

enum class Existing {
  refuse,   // return SYSERR_PSS_EXISTS for an existing file
  replace,  // remove an existing file; rename a directory, or a file with its sidecar files, to NAME.1, NAME.2, ...
  keep      // remove an intact store with the same records and no sidecar files; rename any other file
};

// Writes a new store to `location`. With `inherits`, the store gets the owner, group and permissions of the regular
// file that it replaces, else those of this user and mode 0600. `*kept` is the N of the name NAME.N of a renamed file,
// or 0. Returns 0, or the status of the failure. After SYSERR_PSS_IO the complete store may be in place.
syserr_t put_store(const Location& location, const Content& content, Existing existing, bool inherits, uint32* kept);

// Replaces `file`, which this process has locked, and keeps its owner, group and permissions. Returns SYSERR_PSS_BUSY
// if another process has put another file there, else a status of put_store.
syserr_t update_store(const Location& location, const Content& content, const struct stat& file);

}  // namespace pss_embedded

#endif
