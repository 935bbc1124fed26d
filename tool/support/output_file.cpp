#include "tool/support/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/support/error.h"
#include "tool/support/interrupt.h"

namespace vrrpconvert {

OutputFile::OutputFile(const std::string& name)
    : name_(name), fd_(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (fd_ < 0) {
    const Reason reason = errno == EEXIST ? Reason::exists : Reason::io;
    throw Error(reason, name + ": cannot create: " + strerror(errno) + advice_for(reason));
  }
  remove_at_interrupt(name_);
}

OutputFile::~OutputFile() {
  if (fd_ < 0) return;
  unlink(name_.c_str());
  close(fd_);
  remove_at_interrupt("");
}

void OutputFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail();
    text.remove_prefix(static_cast<size_t>(written));
  }
}

void OutputFile::keep() {
  if (fsync(fd_) != 0 || close(fd_) != 0) fail();
  fd_ = -1;
  remove_at_interrupt("");
}

void OutputFile::fail() const {
  throw Error(Reason::io, name_ + ": cannot write: " + strerror(errno) + "; the file was removed");
}

}  // namespace vrrpconvert
