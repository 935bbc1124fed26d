// What stands where a new store goes, and what becomes of it.
#ifndef PLATFORM_EMBEDDED_EXISTING_FILE_H
#define PLATFORM_EMBEDDED_EXISTING_FILE_H

#include "platform/embedded/location.h"
#include "platform/embedded/row.h"
#include "platform/types.h"

namespace pss_embedded {

enum class Existing {
  refuse,   // an existing file is an error
  replace,  // it is lost
  keep      // it is lost only where it is a store with the same records, else renamed
};

// Renames `from` to `to` unless there is something. Returns 0, or -1 with the reason in errno.
int rename_to_free_name(const char* from, const char* to);

// Prepares `location` for a store with the records of `content`, which is then renamed into place. `directory` is open
// on the location's directory, `aside` a path in the same file system for a file that is to be lost. Returns 0, or the
// status that says why no store can go there; nothing is lost then.
syserr_t make_way(const Location& location, Existing existing, const Digest& content, int directory, const char* aside);

}  // namespace pss_embedded

#endif
