#include "tool/conversion/conversion.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "libconvertvrrp.h"
#include "tool/store/store.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"
#include "tool/support/progress.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

int open_trace_file(const std::string& file) {
  // Mode 0600: a dump of a record shows its authentication key. O_NONBLOCK: a FIFO would hold the tool.
  const int fd = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600);
  if (fd == -1) throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  return fd;
}

// The log of one run: a descriptor to lend to the library, and what the library wrote through it.
class TraceTap {
 public:
  TraceTap(Trace trace, const std::string& file) {
    if (trace == Trace::device_log) fd_ = open(VRRP_CNV_TRACE_LOG, O_RDWR | O_APPEND | O_CLOEXEC);
    if (trace == Trace::to_file) fd_ = open_trace_file(file);
    // Without a log of its own the library would be silent, and the reasons of failures unknown.
    if (fd_ == -1) fd_ = memfd_create("trace", MFD_CLOEXEC);
    if (fd_ == -1) throw Error(exit_io, std::string("no trace can be kept: ") + strerror(errno));
    read_to_ = lseek(fd_, 0, SEEK_END);
  }
  TraceTap(const TraceTap&) = delete;
  TraceTap& operator=(const TraceTap&) = delete;
  ~TraceTap() { close(fd_); }  // every line was synced when it was written

  int fd() const { return fd_; }

  // Reads on to where the log ends by now. Returns how many lines there were altogether.
  size_t read_on() {
    char chunk[65536];
    ssize_t size;
    while ((size = pread(fd_, chunk, sizeof chunk, read_to_)) > 0) {
      read_to_ += size;
      rest_.append(chunk, static_cast<size_t>(size));
      size_t start = 0;
      for (size_t end; (end = rest_.find('\n', start)) != std::string::npos; start = end + 1) {
        outcomes_.add_line(rest_.substr(start, end - start));
        ++lines_;
      }
      rest_.erase(0, start);
    }
    return lines_;
  }

  // What the whole log reports; a killed process leaves its last line without an end.
  TracedOutcomes outcomes() {
    read_on();
    outcomes_.add_line(rest_);
    return outcomes_;
  }

 private:
  int fd_ = -1;
  off_t read_to_ = 0;
  size_t lines_ = 0;
  std::string rest_;
  TracedOutcomes outcomes_;
};

void write_version_file(const fs::path& file, const std::string& version) {
  std::ofstream stream(file);
  stream << version << '\n';
  if (!stream.flush()) throw Error(exit_io, file.string() + ": cannot be written; nothing was changed");
}

// Calls the library once, as the system manager does.
[[noreturn]] void run_library_in_child(const Conversion& conversion, const fs::path& versions, int log, int answer) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  signal(SIGHUP, SIG_DFL);
  set_nonvolatile_root(conversion.root);
  setenv("SYSMGR_FROM_SRG_PATH", (versions / "from").c_str(), 1);
  setenv("SYSMGR_TO_SRG_PATH", (versions / "to").c_str(), 1);
  setenv("SYSMGR_VDC_ID", std::to_string(conversion.vdc).c_str(), 1);
  trace_fd = log;
  const auto entry_point = conversion.startup ? convert_startup : convert_gsync;
  const syserr_t result =
      entry_point(conversion.path.c_str(), "vrrpconvert", conversion.to.text.c_str(), conversion.from.text.c_str());
  const bool written = write(answer, &result, sizeof result) == sizeof result;
  _exit(written ? 0 : 1);
}

// A process that was killed while it took its snapshot leaves its scratch directory, whose name has its number.
void remove_scratch_directories(pid_t process, const fs::path& parent) {
  std::error_code ignored;  // what cannot be removed does no harm
  const std::string start = ".pss-" + std::to_string(process) + "-";
  for (const auto& entry : fs::directory_iterator(parent, ignored)) {
    if (entry.path().filename().string().rfind(start, 0) == 0) fs::remove_all(entry.path(), ignored);
  }
}

// Waits for the process and shows how far it is. Returns whether the operator interrupted it.
bool wait_for(pid_t process, TraceTap& tap, size_t expected_lines) {
  Progress progress("Converting", expected_lines);
  bool interrupted = false;
  useconds_t pause = 500;
  while (waitpid(process, nullptr, WNOHANG) == 0) {
    if (was_interrupted() && !interrupted) {
      interrupted = true;
      kill(process, SIGKILL);
    }
    usleep(pause);
    pause = std::min<useconds_t>(pause * 2, 50000);
    if (pause == 50000) progress.show(tap.read_on());
  }
  return interrupted || was_interrupted();
}

}  // namespace

Change Conversion::change() const {
  if (startup) return Change::none;
  if (from.has_old_layout) return Change::upgrade;
  return to.has_old_layout ? Change::downgrade : Change::none;
}

fs::path Conversion::store() const {
  const fs::path directory = root / fs::path(path).relative_path();
  return startup ? directory / &VRRP_CNV_STARTUP_DIRECTORY[1] / VRRP_CNV_STARTUP_STORE
                 : directory / VRRP_CNV_RUNNING_STORE;
}

fs::path Conversion::snapshot() const {
  return root.string() + VRRP_CNV_SNAPSHOT + (vdc == 1 ? "" : std::to_string(vdc));
}

std::string device_path(const fs::path& root, const fs::path& directory, bool startup) {
  const fs::path relative = directory.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") {
    throw Error(exit_usage, directory.string() + " is not below the nonvolatile root " + root.string() +
                                "; name a path below it, or another root");
  }
  // The library cuts a longer store URL at 255 characters; the cut one could name another store.
  const std::string path = "/" + relative.string();
  const std::string store =
      startup ? VRRP_CNV_STARTUP_DIRECTORY "/" VRRP_CNV_STARTUP_STORE : "/" VRRP_CNV_RUNNING_STORE;
  const size_t length = std::string("nonvolatile:").size() + path.size() + store.size();
  if (length > 255) {
    throw Error(exit_usage, path + ": the store's URL would have " + std::to_string(length) +
                                " characters, and 255 is the most; use --root to name a directory closer to the store");
  }
  return path;
}

void check_trace_file(const Conversion& conversion, const std::string& file) {
  struct stat trace, other;
  const int fd = open_trace_file(file);
  const bool is_file = fstat(fd, &trace) == 0 && S_ISREG(trace.st_mode);
  close(fd);  // nothing was written
  if (!is_file) throw Error(exit_usage, file + ": is no regular file; name one that the trace can be appended to");
  for (const fs::path& store : {conversion.store(), conversion.snapshot()}) {
    if (stat(store.c_str(), &other) == 0 && other.st_dev == trace.st_dev && other.st_ino == trace.st_ino) {
      throw Error(exit_usage, file + ": is a store; name another file for the trace");
    }
  }
}

Run run_conversion(const Conversion& conversion, Trace trace, const std::string& trace_file, size_t expected_lines) {
  const ScratchDirectory versions(temporary_directory());
  write_version_file(versions.path() / "from", conversion.from.text);
  write_version_file(versions.path() / "to", conversion.to.text);
  TraceTap tap(trace, trace_file);
  int answer[2];
  if (pipe2(answer, O_CLOEXEC) != 0) throw Error(exit_io, std::string("no pipe: ") + strerror(errno));
  std::cout.flush();
  const pid_t process = fork();
  if (process == 0) run_library_in_child(conversion, versions.path(), tap.fd(), answer[1]);
  close(answer[1]);
  Run run;
  if (process > 0) {
    run.interrupted = wait_for(process, tap, expected_lines);
    run.answered = read(answer[0], &run.result, sizeof run.result) == sizeof run.result;
    run.outcomes = tap.outcomes();
    if (!run.answered) remove_scratch_directories(process, conversion.snapshot().parent_path());
  }
  close(answer[0]);
  if (process < 0) throw Error(exit_io, std::string("no process for the conversion: ") + strerror(errno));
  return run;
}

}  // namespace vrrpconvert
