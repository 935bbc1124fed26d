#include "platform/embedded/image.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_format.h"

namespace pss_embedded {
namespace {

// The header of an SQLite file. Numbers are big-endian.
constexpr char magic[16] = PSS_EMBEDDED_MAGIC;
enum HeaderOffset {
  page_size_at = 16,      // 2 bytes; 1 means 65536
  write_version_at = 18,  // 1 byte: 1 with a rollback journal, 2 with a write-ahead log
  read_version_at = 19,   // 1 byte, the same
  change_counter_at = 24,
  page_count_at = 28,
  encoding_at = 56,  // 1: UTF-8
  user_version_at = 60,
  application_id_at = 68,
  version_valid_for_at = 92,  // change counter at the time when the page count was written
  header_size = 100
};

// Reads `size` bytes from the start of the file. Returns `short_status` if the file is shorter.
syserr_t read_fully(int fd, uint8* bytes, sqlite3_int64 size, syserr_t short_status) {
  // Linux truncates a single read at 2 GiB.
  constexpr sqlite3_int64 most = 1 << 30;
  for (sqlite3_int64 done = 0; done < size;) {
    const ssize_t count = pread(fd, bytes + done, static_cast<size_t>(std::min(size - done, most)), done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return status_of_errno(errno);
    if (count == 0) return short_status;
    done += count;
  }
  return 0;
}

bool is_version(uint8 version) { return version == 1 || version == 2; }

syserr_t size_in_header(const uint8* header, sqlite3_int64* size) {
  if (memcmp(header, magic, sizeof magic) != 0 || !is_version(header[write_version_at]) ||
      !is_version(header[read_version_at]) || big_endian(header + encoding_at, 4) != 1 ||
      big_endian(header + user_version_at, 4) != store_format_version ||
      big_endian(header + application_id_at, 4) != store_application_id) {
    return SYSERR_PSS_NOT_A_STORE;
  }
  const uint32 page_size = page_size_of(header);
  if (page_size < 512) return SYSERR_PSS_NOT_A_STORE;
  const uint32 pages = big_endian(header + page_count_at, 4);
  if (big_endian(header + change_counter_at, 4) != big_endian(header + version_valid_for_at, 4) || pages == 0) {
    return SYSERR_PSS_DAMAGED;  // no SQLite release since 2010 writes this
  }
  *size = static_cast<sqlite3_int64>(page_size) * pages;
  return *size <= PSS_EMBEDDED_STORE_MAX ? 0 : SYSERR_PSS_TOO_LARGE;
}

// Returns SYSERR_PSS_DAMAGED if the file is shorter than `size`, or if more than 16 MiB of it are holes: a small file
// could need 1 GiB of memory. A copy of a store may have small holes.
syserr_t check_extent(int fd, sqlite3_int64 size) {
  constexpr sqlite3_int64 holes_max = 16 << 20;
  struct stat file;
  if (fstat(fd, &file) != 0) return status_of_errno(errno);
  if (file.st_size < size) return SYSERR_PSS_DAMAGED;
  const off_t offset = lseek(fd, 0, SEEK_CUR);
  sqlite3_int64 holes = 0;
  for (off_t data = 0; data >= 0 && data < size && holes <= holes_max;) {
    const off_t hole = lseek(fd, data, SEEK_HOLE);
    if (hole < 0 || hole >= size) break;
    data = lseek(fd, hole, SEEK_DATA);  // fails if only a hole follows
    holes += (data >= 0 && data < size ? data : size) - hole;
  }
  (void)lseek(fd, offset, SEEK_SET);  // cannot fail: the offset was valid
  return holes <= holes_max ? 0 : SYSERR_PSS_DAMAGED;
}

}  // namespace

uint32 big_endian(const uint8* bytes, int size) {
  uint32 number = 0;
  for (int i = 0; i < size; ++i) number = number << 8 | bytes[i];
  return number;
}

uint32 page_size_of(const uint8* image) {
  const uint32 page_size = big_endian(image + page_size_at, 2);
  return page_size == 1 ? 65536 : page_size;
}

syserr_t read_image(int fd, Image* image) {
  uint8 header[header_size];
  syserr_t status = read_fully(fd, header, sizeof header, SYSERR_PSS_NOT_A_STORE);
  if (status == 0) status = size_in_header(header, &image->size);
  if (status == 0) status = check_extent(fd, image->size);
  if (status != 0) return status;
  image->has_wal = header[read_version_at] == 2;
  image->bytes.reset(static_cast<uint8*>(sqlite3_malloc64(static_cast<sqlite3_uint64>(image->size))));
  if (image->bytes == nullptr) return SYSERR_PSS_NO_MEMORY;
  status = read_fully(fd, image->bytes.get(), image->size, SYSERR_PSS_DAMAGED);
  // SQLite refuses to open an image in memory if its header says that it has a write-ahead log.
  if (status == 0) image->bytes.get()[write_version_at] = image->bytes.get()[read_version_at] = 1;
  return status;
}

syserr_t write_bytes(int fd, const void* bytes, sqlite3_int64 size) {
  // Beyond the limit the kernel would send SIGXFSZ, which by default ends the host process.
  rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      static_cast<sqlite3_int64>(limit.rlim_cur) < size) {
    return SYSERR_PSS_NO_SPACE;
  }
  const char* next = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t written = write(fd, next, static_cast<size_t>(std::min<sqlite3_int64>(size, 1 << 30)));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return status_of_errno(errno);
    next += written;
    size -= written;
  }
  return 0;
}

}  // namespace pss_embedded
