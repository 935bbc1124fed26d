#include "platform/srg_sw_ver.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace {

// Version texts are short. If a file has more than 511 bytes, return no text: a truncated text could name another
// release.
char text[512];

// Reads at most `size` bytes. Returns the number of bytes, or -1.
ssize_t read_fully(int fd, char* buffer, size_t size) {
  size_t length = 0;
  while (length < size) {
    const ssize_t count = read(fd, buffer + length, size - length);
    if (count == 0) break;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    length += static_cast<size_t>(count);
  }
  return static_cast<ssize_t>(length);
}

}  // namespace

const char* srg_sw_ver_file_get(const char* path) {
  if (path == nullptr) return nullptr;
  // Without O_NONBLOCK the open of a FIFO would block forever.
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat status;
  const bool is_file = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  const ssize_t length = is_file ? read_fully(fd, text, sizeof text) : -1;
  close(fd);  // ignore the status: nothing was written
  if (length < 0 || length == static_cast<ssize_t>(sizeof text)) return nullptr;
  // A NUL byte would truncate the text.
  if (memchr(text, '\0', static_cast<size_t>(length)) != nullptr) return nullptr;
  text[length] = '\0';
  return text;
}
