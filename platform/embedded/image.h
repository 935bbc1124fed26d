// The image of a store: its bytes in memory.
#ifndef PLATFORM_EMBEDDED_IMAGE_H
#define PLATFORM_EMBEDDED_IMAGE_H

#include <sqlite3.h>

#include <memory>

#include "platform/types.h"

namespace pss_embedded {

struct FreeMemory {
  void operator()(void* memory) const { sqlite3_free(memory); }
};

// Allocated by SQLite, which takes ownership when it opens the image.
struct Image {
  std::unique_ptr<uint8, FreeMemory> bytes;
  sqlite3_int64 size = 0;
  bool has_wal = false;  // whether programs that open the file use a write-ahead log
};

// Reads the store in the file `fd`. Its header determines its size; bytes after that are ignored. Returns
// SYSERR_PSS_NOT_A_STORE for any other file, SYSERR_PSS_DAMAGED if the file is shorter or has large holes,
// SYSERR_PSS_TOO_LARGE beyond PSS_EMBEDDED_STORE_MAX. Decides that by the header, before it allocates or reads more.
syserr_t read_image(int fd, Image* image);

// Returns the page size in the header of an image that read_image() returned.
uint32 page_size_of(const uint8* image);

// Returns a number of the file, which are big-endian.
uint32 big_endian(const uint8* bytes, int size);

// Writes all bytes. Returns 0, or the status of the failure.
syserr_t write_bytes(int fd, const void* bytes, sqlite3_int64 size);

}  // namespace pss_embedded

#endif
