#include "tool/support/new_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/support/error.h"
#include "tool/support/interrupt.h"

namespace vrrpconvert {

NewFile::NewFile(const std::string& name)
    : name_(name), fd_(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (fd_ < 0) {
    throw Error(errno == EEXIST ? exit_usage : exit_io, name + ": cannot create: " + strerror(errno));
  }
  remove_at_interrupt(name_);
}

NewFile::~NewFile() {
  if (fd_ < 0) return;
  unlink(name_.c_str());
  close(fd_);
  remove_at_interrupt("");
}

void NewFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail();
    text.remove_prefix(static_cast<size_t>(written));
  }
}

void NewFile::keep() {
  if (fsync(fd_) != 0 || close(fd_) != 0) fail();
  fd_ = -1;
  remove_at_interrupt("");
}

void NewFile::fail() const {
  throw Error(exit_io, name_ + ": cannot write: " + strerror(errno) + "; the file was removed");
}

}  // namespace vrrpconvert
