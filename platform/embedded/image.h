// The bytes of a store in memory.
#ifndef PLATFORM_EMBEDDED_IMAGE_H
#define PLATFORM_EMBEDDED_IMAGE_H

#include <sqlite3.h>

#include <memory>

#include "platform/types.h"

namespace pss_embedded {

struct FreeMemory {
  void operator()(void* memory) const { sqlite3_free(memory); }
};

// Memory of SQLite, which takes it over when it opens the image.
struct Image {
  std::unique_ptr<uint8, FreeMemory> bytes;
  sqlite3_int64 size = 0;
};

// Reads the database that the file `fd` holds, as long as its header says, and no byte behind it.
// SYSERR_PSS_NOT_A_STORE for any other file, SYSERR_PSS_DAMAGED for one that is shorter, SYSERR_PSS_TOO_LARGE beyond
// PSS_EMBEDDED_STORE_MAX.
syserr_t read_image(int fd, Image* image);

// Writes all bytes. Returns 0 or the status of the failure.
syserr_t write_bytes(int fd, const void* bytes, sqlite3_int64 size);

}  // namespace pss_embedded

#endif
