#include "tests/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

SystemCalls::Kind SystemCalls::kind;
int SystemCalls::made, SystemCalls::due, SystemCalls::error;
bool SystemCalls::persistent;

bool SystemCalls::fails(Kind of_kind) {
  if (of_kind != kind) return false;
  ++made;
  if (due == 0 || made < due || (made > due && !persistent)) return false;
  if (kind == file && error == 0) kill(getpid(), SIGKILL);
  errno = error;
  return true;
}

template <typename Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FILE_CALL(name, parameters, arguments)                               \
  int name parameters {                                                      \
    static const auto real_call = real(&name, #name);                        \
    return SystemCalls::fails(SystemCalls::file) ? -1 : real_call arguments; \
  }
#define SYNC_CALL(name) \
  int name(int) { return SystemCalls::fails(SystemCalls::file) ? -1 : 0; }

extern "C" {
ssize_t write(int fd, const void* bytes, size_t size) {
  static const auto real_call = real(&write, "write");
  return SystemCalls::fails(SystemCalls::file) ? -1 : real_call(fd, bytes, size);
}
ssize_t pread64(int fd, void* bytes, size_t size, off64_t offset) {
  static const auto real_call = real(&pread64, "pread64");
  return SystemCalls::fails(SystemCalls::file) ? -1 : real_call(fd, bytes, size, offset);
}
int openat64(int directory, const char* path, int flags, ...) {
  static const auto real_call = real(&openat64, "openat64");
  return SystemCalls::fails(SystemCalls::file) ? -1 : real_call(directory, path, flags, 0600);
}
// A failed pss_close writes to the system log of the machine otherwise.
void syslog(int, const char*, ...) {}
void __syslog_chk(int, int, const char*, ...) {}
int __openat64_2(int directory, const char* path, int flags) { return openat64(directory, path, flags); }  // fortified
SYNC_CALL(fsync)
FILE_CALL(fchmod, (int fd, mode_t mode), (fd, mode))
FILE_CALL(renameat2, (int from_fd, const char* from, int to_fd, const char* to, unsigned flags),
          (from_fd, from, to_fd, to, flags))
int unlinkat(int directory, const char* path, int flags) {
  static const auto real_call = real(&unlinkat, "unlinkat");
  if (SystemCalls::error == 0) SystemCalls::fails(SystemCalls::file);  // a failure would only leave a file
  return real_call(directory, path, flags);
}
}

void SystemCalls::configure_sqlite() {
  static sqlite3_mem_methods real_methods;
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real_methods);
  sqlite3_mem_methods methods = real_methods;
  methods.xMalloc = [](int size) { return fails(memory) ? nullptr : real_methods.xMalloc(size); };
  methods.xRealloc = [](void* old, int size) { return fails(memory) ? nullptr : real_methods.xRealloc(old, size); };
  sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
}
