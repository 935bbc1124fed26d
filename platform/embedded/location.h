// Where the store that a URL names lies in the file system.
#ifndef PLATFORM_EMBEDDED_LOCATION_H
#define PLATFORM_EMBEDDED_LOCATION_H

#include <climits>

#include "platform/embedded/file_descriptor.h"
#include "platform/types.h"

namespace pss_embedded {

// A name in a directory. The directory is open (O_PATH), so that every operation is about the same one, even if another
// process renames a directory on the way to it. There may be nothing under the name, or anything.
struct Location {
  FileDescriptor directory;
  char name[NAME_MAX + 1] = "";
};

// Finds the location of `url`, which may be null. Returns 0, SYSERR_PSS_BAD_URL for a text that names no place below
// the root where a store can be, or the status that says why its directory cannot be reached.
syserr_t locate(const char* url, Location* location);

}  // namespace pss_embedded

#endif
