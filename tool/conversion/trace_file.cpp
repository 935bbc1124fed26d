#include "tool/conversion/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail_to_open(const std::string& file) {
  throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
}

bool is_database(const std::string& file) {
  char start[15] = {};
  std::ifstream(file, std::ios::binary).read(start, sizeof start);
  return std::string_view(start, sizeof start) == "SQLite format 3";
}

}  // namespace

void check_trace_file(const Conversion& conversion, const std::string& file) {
  std::error_code ignored;  // a directory that is not there holds no store
  const fs::path place = fs::weakly_canonical(fs::absolute(file).parent_path(), ignored) / fs::path(file).filename();
  for (const fs::path& store : {conversion.store(), conversion.snapshot()}) {
    if (place == store || place.native().starts_with(store.native() + '-')) {  // such as STORE-journal
      throw Error(exit_usage, file + ": is the name of a store or belongs to one; name another file for the trace");
    }
  }
  struct stat trace;
  if (lstat(file.c_str(), &trace) != 0) {
    if (errno == ENOENT && access(place.parent_path().c_str(), W_OK) == 0) return;
    fail_to_open(file);
  }
  if (!S_ISREG(trace.st_mode)) {
    throw Error(exit_usage, file + ": is no regular file; name one that the trace can be appended to");
  }
  if (access(file.c_str(), W_OK) != 0) fail_to_open(file);
  if (is_database(file)) throw Error(exit_usage, file + ": is a store; name another file for the trace");
}

TraceFile::TraceFile(const std::string& file) {
  if (file.empty()) return;
  // Mode 0600: a dump of a record shows its authentication key. O_NONBLOCK: a FIFO would hold the tool. O_NOFOLLOW: a
  // link may lead to a store.
  fd_ = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0600);
  if (fd_ == -1) fail_to_open(file);
}

TraceFile::~TraceFile() {
  if (fd_ != -1) close(fd_);  // the library synced every line
}

}  // namespace vrrpconvert
