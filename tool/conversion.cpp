#include "tool/conversion.h"

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
#include "tool/error.h"
#include "tool/interrupt.h"
#include "tool/private_folder.h"
#include "tool/progress.h"
#include "tool/store.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char own_log[] = "/bootflash/libconvertvrrpmgr.log";

int open_trace_file(const std::string& file) {
  // Mode 0600: a dump of a record shows its authentication key. O_NONBLOCK: a FIFO would hold the tool.
  const int fd = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600);
  if (fd == -1) throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  return fd;
}

// The log of one run: a descriptor to lend to the library, and what was written through it.
class TraceTap {
 public:
  TraceTap(Trace trace, const std::string& file) {
    if (trace == Trace::as_always) fd_ = open(own_log, O_RDWR | O_APPEND | O_CLOEXEC);
    if (trace == Trace::to_file) fd_ = open_trace_file(file);
    // Without a log of its own the library would be silent: what it says is kept to tell the reasons of failures.
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

  // What the whole log told; a killed process leaves its last line without an end.
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

// What the process of its own does: it is the system manager of one call.
[[noreturn]] void be_the_system_manager(const Conversion& conversion, const fs::path& versions, int log, int answer) {
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
  const bool told = write(answer, &result, sizeof result) == sizeof result;
  _exit(told ? 0 : 1);
}

// A process that was killed while it took its snapshot leaves its working folder, which carries its number.
void remove_working_folders(pid_t process, const fs::path& parent) {
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

fs::path Conversion::snapshot() const {
  return root / "tmp" / ("vrrp-pss" + (vdc == 1 ? std::string() : std::to_string(vdc)));
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
  const PrivateFolder versions(temporary_folder());
  write_version_file(versions.path() / "from", conversion.from.text);
  write_version_file(versions.path() / "to", conversion.to.text);
  TraceTap tap(trace, trace_file);
  int answer[2];
  if (pipe2(answer, O_CLOEXEC) != 0) throw Error(exit_io, std::string("no pipe: ") + strerror(errno));
  std::cout.flush();
  const pid_t process = fork();
  if (process == 0) be_the_system_manager(conversion, versions.path(), tap.fd(), answer[1]);
  close(answer[1]);
  Run run;
  if (process > 0) {
    run.interrupted = wait_for(process, tap, expected_lines);
    run.answered = read(answer[0], &run.result, sizeof run.result) == sizeof run.result;
    run.outcomes = tap.outcomes();
    if (!run.answered) remove_working_folders(process, conversion.snapshot().parent_path());
  }
  close(answer[0]);
  if (process < 0) throw Error(exit_io, std::string("no process for the conversion: ") + strerror(errno));
  return run;
}

}  // namespace vrrpconvert
