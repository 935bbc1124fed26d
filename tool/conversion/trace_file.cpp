#include "tool/conversion/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/embedded/pss_embedded.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail_to_open(const std::string& file) {
  throw Error(Reason::io, file + ": cannot open for the trace: " + strerror(errno));
}

// O_NONBLOCK: the open of a FIFO would block. O_NOFOLLOW: a symbolic link could name a store.
int open_for_trace(const std::string& file, int flags) {
  // Mode 0600: a record dump contains the authentication key.
  return open(file.c_str(), flags | O_RDWR | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0600);
}

bool is_database(int fd) {
  constexpr char magic[] = PSS_EMBEDDED_MAGIC;
  char start[sizeof magic] = {};
  return pread(fd, start, sizeof start, 0) == sizeof start && memcmp(start, magic, sizeof start) == 0;
}

}  // namespace

void check_trace_file(const Conversion& conversion, const std::string& file) {
  std::error_code ignored;  // a missing directory contains no store
  const fs::path place = fs::weakly_canonical(fs::absolute(file).parent_path(), ignored) / fs::path(file).filename();
  for (const fs::path& store : {conversion.store(), conversion.snapshot()}) {
    if (place == store || place.native().starts_with(store.native() + '-')) {  // for example STORE-journal
      throw Error(Reason::usage,
                  file + ": a trace file cannot have the name of a store or its sidecar file; use another name");
    }
  }
  struct stat trace;
  if (lstat(file.c_str(), &trace) == 0 && !S_ISREG(trace.st_mode)) {
    throw Error(Reason::usage, file + ": not a regular file; use a regular file for the trace");
  }
  const int fd = open_for_trace(file, 0);
  if (fd < 0) {
    if (errno == ENOENT && access(place.parent_path().c_str(), W_OK) == 0) return;
    fail_to_open(file);
  }
  const bool is_store = is_database(fd);
  close(fd);
  if (is_store) throw Error(Reason::usage, file + ": an SQLite file; use another file for the trace");
}

TraceFile::TraceFile(const std::string& file) {
  if (file.empty()) return;
  fd_ = open_for_trace(file, O_CREAT);
  if (fd_ == -1) fail_to_open(file);
}

TraceFile::~TraceFile() {
  if (fd_ != -1) close(fd_);  // the library synced every line
}

}  // namespace vrrpconvert
