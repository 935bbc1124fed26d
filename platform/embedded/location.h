// The location of a store in the file system.
#ifndef PLATFORM_EMBEDDED_LOCATION_H
#define PLATFORM_EMBEDDED_LOCATION_H

#include <climits>

#include "platform/embedded/file_descriptor.h"
#include "platform/types.h"

namespace pss_embedded {

// A name in a directory. The directory is open (O_PATH), so that every operation uses the same directory, even if
// another process renames a directory of its path. The name may be free, or name any file.
struct Location {
  FileDescriptor directory;
  char name[NAME_MAX + 1] = "";
};

// Opens the directory of `url`, which may be null. Returns 0, SYSERR_PSS_BAD_URL for an invalid store URL, or the
// status of the failure to open the directory.
syserr_t locate(const char* url, Location* location);

}  // namespace pss_embedded

#endif
