// Preloaded into the tool: records every change that it makes to files below RECORD_ROOT in the file RECORD_LOG, for
// power_test. A record is a line "KIND INODE OFFSET SIZE PATH[\tPATH]" with SIZE bytes of data behind it.

#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace {

template <typename Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool is_recorded(const std::string& path) {
  const char* root = getenv("RECORD_ROOT");
  return root != nullptr && path.rfind(std::string(root) + "/", 0) == 0;
}

void record(const char* kind, uint64_t inode, int64_t offset, const std::string& paths, const void* data, size_t size) {
  static const int log = static_cast<int>(
      syscall(SYS_openat, AT_FDCWD, getenv("RECORD_LOG"), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
  char head[128];
  snprintf(head, sizeof head, "%s %llu %lld %zu ", kind, static_cast<unsigned long long>(inode),
           static_cast<long long>(offset), size);
  std::string line = head + paths + "\n";
  if (size > 0) line.append(static_cast<const char*>(data), size);
  if (syscall(SYS_write, log, line.data(), line.size()) != static_cast<long>(line.size())) abort();
}

std::string path_of(int fd) {
  char link[64], path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t length = readlink(link, path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : "";
}

void record_fd(const char* kind, int fd, int64_t offset, const void* data, size_t size) {
  const std::string path = path_of(fd);
  struct stat status;
  if (!is_recorded(path + "/") || fstat(fd, &status) != 0) return;
  const bool is_directory = S_ISDIR(status.st_mode);
  record(is_directory ? "syncdir" : kind, status.st_ino, offset, path, data, size);
}

int recorded_open(int fd, const char* path, bool existed) {
  if (fd >= 0 && !existed && is_recorded(path)) record_fd("create", fd, 0, nullptr, 0);
  return fd;
}

bool exists(const char* path) { return access(path, F_OK) == 0; }

mode_t mode_of(int flags, va_list arguments) { return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0; }

}  // namespace

#define OPEN_CALL(name)                                                         \
  int name(const char* path, int flags, ...) {                                  \
    va_list arguments;                                                          \
    va_start(arguments, flags);                                                 \
    const mode_t mode = mode_of(flags, arguments);                              \
    va_end(arguments);                                                          \
    const bool existed = exists(path);                                          \
    return recorded_open(real(&name, #name)(path, flags, mode), path, existed); \
  }
#define WRITE_CALL(name, offset_type)                                                    \
  ssize_t name(int fd, const void* data, size_t size, offset_type offset) {              \
    const ssize_t written = real(&name, #name)(fd, data, size, offset);                  \
    if (written > 0) record_fd("write", fd, offset, data, static_cast<size_t>(written)); \
    return written;                                                                      \
  }
#define FD_CALL(name, kind, parameters, arguments, offset)    \
  int name parameters {                                       \
    const int result = real(&name, #name) arguments;          \
    if (result == 0) record_fd(kind, fd, offset, nullptr, 0); \
    return result;                                            \
  }
#define NAME_CALL(name, kind, parameters, arguments, path, paths)                \
  int name parameters {                                                          \
    const int result = real(&name, #name) arguments;                             \
    if (result == 0 && is_recorded(path)) record(kind, 0, 0, paths, nullptr, 0); \
    return result;                                                               \
  }

extern "C" {
OPEN_CALL(open)
OPEN_CALL(open64)
WRITE_CALL(pwrite, off_t)
WRITE_CALL(pwrite64, off64_t)
ssize_t write(int fd, const void* data, size_t size) {
  const off_t offset = lseek(fd, 0, SEEK_CUR);
  const ssize_t written = real(&write, "write")(fd, data, size);
  if (written > 0) record_fd("write", fd, offset, data, static_cast<size_t>(written));
  return written;
}
FD_CALL(ftruncate, "truncate", (int fd, off_t size), (fd, size), size)
FD_CALL(ftruncate64, "truncate", (int fd, off64_t size), (fd, size), size)
FD_CALL(fsync, "sync", (int fd), (fd), 0)
FD_CALL(fdatasync, "sync", (int fd), (fd), 0)
NAME_CALL(rename, "rename", (const char* from, const char* to), (from, to), to, std::string(from) + "\t" + to)
NAME_CALL(renameat2, "rename", (int from_fd, const char* from, int to_fd, const char* to, unsigned flags),
          (from_fd, from, to_fd, to, flags), to, std::string(from) + "\t" + to)
NAME_CALL(link, "link", (const char* from, const char* to), (from, to), to, std::string(from) + "\t" + to)
NAME_CALL(unlink, "unlink", (const char* path), (path), path, path)
}
