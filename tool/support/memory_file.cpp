#include "tool/support/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/support/error.h"

namespace vrrpconvert {

MemoryFile::MemoryFile(std::string_view content) : fd_(memfd_create("vrrpconvert", MFD_CLOEXEC)) {
  // What it holds at first is a few characters, which are written at once.
  if (fd_ >= 0 && write(fd_, content.data(), content.size()) == static_cast<ssize_t>(content.size())) return;
  const int reason = errno;
  if (fd_ >= 0) close(fd_);
  throw Error(exit_io, std::string("no file in memory: ") + strerror(reason) + "; nothing was changed");
}

MemoryFile::~MemoryFile() { close(fd_); }

}  // namespace vrrpconvert
