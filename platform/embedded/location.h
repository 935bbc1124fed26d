// Where the store that a URL names lies in the file system.
#ifndef PLATFORM_EMBEDDED_LOCATION_H
#define PLATFORM_EMBEDDED_LOCATION_H

#include <cstddef>

#include "platform/types.h"

namespace pss_embedded {

// Bytes of a store's path with its terminator: SQLite opens no longer one. Names beside the store are a little longer.
inline constexpr size_t path_size = 512;

// `directory` exists and holds no symbolic link in any of its parts; `file` is the store's place in it, where there may
// be nothing, or anything.
struct Location {
  char directory[path_size];
  char file[path_size];
};

// Finds the location of `url`, which may be null. Returns 0, SYSERR_PSS_BAD_URL for a text that names no place below
// the root where a store can be, or the status that says why its directory cannot be reached.
syserr_t locate(const char* url, Location* location);

}  // namespace pss_embedded

#endif
