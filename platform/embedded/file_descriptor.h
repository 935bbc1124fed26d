// A file descriptor with one owner.
#ifndef PLATFORM_EMBEDDED_FILE_DESCRIPTOR_H
#define PLATFORM_EMBEDDED_FILE_DESCRIPTOR_H

#include <unistd.h>

namespace pss_embedded {

// Only for descriptors that are read, or synced after the last write, because it ignores the status of close().
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { reset(-1); }

  void reset(int fd) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace pss_embedded

#endif
