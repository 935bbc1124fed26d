#include "tool/support/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/support/error.h"

namespace vrrpconvert {

MemoryFile::MemoryFile(std::string_view content) : fd_(memfd_create("vrrpconvert", MFD_CLOEXEC)) {
  // The initial content is short, so one write() writes all of it.
  if (fd_ >= 0 && write(fd_, content.data(), content.size()) == static_cast<ssize_t>(content.size())) return;
  const int reason = errno;
  if (fd_ >= 0) close(fd_);
  throw Error(Reason::io, std::string("cannot create a file in memory: ") + strerror(reason) + "; nothing was changed");
}

MemoryFile::~MemoryFile() { close(fd_); }

}  // namespace vrrpconvert
