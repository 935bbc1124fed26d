#include "tool/conversion/conversion.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>

#include "libconvertvrrp.h"
#include "tool/conversion/observation.h"
#include "tool/store/store.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"
#include "tool/support/memory_file.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char no_regular_file[] = ": is no regular file; name one that the trace can be appended to";

int open_trace_file(const std::string& file) {
  // Mode 0600: a dump of a record shows its authentication key. O_NONBLOCK: a FIFO would hold the tool. O_NOFOLLOW: a
  // link may lead to a store.
  const int fd = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0600);
  if (fd == -1) throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  return fd;
}

bool is_database(const std::string& file) {
  char start[15] = {};
  std::ifstream(file, std::ios::binary).read(start, sizeof start);
  return std::string_view(start, sizeof start) == "SQLite format 3";
}

// Calls the library once, as the system manager does. Without a trace the driver is called behind the entry point,
// which would open the device's log.
syserr_t call_library(const Conversion& conversion, Trace trace) {
  const char *to = conversion.to.text.c_str(), *from = conversion.from.text.c_str();
  if (trace != Trace::none) {
    const auto entry_point = conversion.startup ? convert_startup : convert_gsync;
    return entry_point(conversion.path.c_str(), "vrrpconvert", to, from);
  }
  const std::string path = conversion.path + (conversion.startup ? VRRP_CNV_STARTUP_DIRECTORY : "");
  return vrrp_mgr_handle_generic_convert(path.c_str(), "vrrpconvert", to, from,
                                         conversion.startup ? VRRP_CONVERT_STARTUP : VRRP_CONVERT_GSYNC);
}

// How a run is made: in the process of its own `prepare` is called, then the library.
struct Runner {
  const Conversion& conversion;
  Trace trace = Trace::none;
  std::string trace_file{};
  const char* label;           // of the progress bar
  size_t expected_operations;  // 0: not known
  std::function<void(Observation&)> prepare;

  Run run() const;
  [[noreturn]] void run_in_child(const MemoryFile& from, const MemoryFile& to, int trace_descriptor,
                                 Observation& observation) const;
};

void Runner::run_in_child(const MemoryFile& from, const MemoryFile& to, int trace_descriptor,
                          Observation& observation) const {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    if (signal(number, SIG_DFL) == SIG_IGN) signal(number, SIG_IGN);  // nohup holds for the library too
  }
  setenv("SYSMGR_FROM_SRG_PATH", from.path().c_str(), 1);
  setenv("SYSMGR_TO_SRG_PATH", to.path().c_str(), 1);
  setenv("SYSMGR_VDC_ID", std::to_string(conversion.vdc).c_str(), 1);
  trace_fd = trace_descriptor;
  prepare(observation);
  observation.shared().result = call_library(conversion, trace);
  observation.shared().answered = true;
  _exit(0);
}

// Waits for the process, which has the other end of the pipe `alive`, and shows how far it is. Returns whether the
// operator interrupted it.
bool wait_for(pid_t process, int alive, const Observation& observation, const Runner& runner) {
  Progress progress(runner.label, runner.expected_operations);
  constexpr int pause_ms = 50;
  pollfd end = {alive, POLLIN, 0};
  bool interrupted = false;
  while (poll(&end, 1, pause_ms) <= 0) {
    if (was_interrupted() && !interrupted) {
      interrupted = true;
      kill(process, SIGKILL);
    }
    progress.show(observation.shared().operations);
  }
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  return interrupted || was_interrupted();
}

Run Runner::run() const {
  const MemoryFile from(conversion.from.text + '\n'), to(conversion.to.text + '\n');
  Observation observation;
  const int trace_descriptor = trace == Trace::to_file ? open_trace_file(trace_file) : -1;
  int alive[2];  // a pipe that the process has open as long as it lives
  if (pipe2(alive, O_CLOEXEC) != 0) throw Error(exit_io, std::string("no pipe: ") + strerror(errno));
  std::cout.flush();
  const pid_t process = fork();
  if (process == 0) run_in_child(from, to, trace_descriptor, observation);
  const int reason = errno;
  close(alive[1]);
  if (trace_descriptor != -1) close(trace_descriptor);  // the library synced every line
  const bool interrupted = process > 0 && wait_for(process, alive[0], observation, *this);
  close(alive[0]);
  if (process < 0) throw Error(exit_io, std::string("no process for the conversion: ") + strerror(reason));
  const auto& shared = observation.shared();
  Run run;
  run.answered = shared.answered;
  run.interrupted = interrupted;
  run.was_changed = shared.was_changed;
  run.has_snapshot = shared.has_snapshot;
  run.result = shared.result;
  run.open_status = shared.open_status;
  run.snapshot_status = shared.snapshot_status;
  run.close_status = shared.close_status;
  run.earlier_snapshot = kept_name(conversion.snapshot(), shared.kept_number);
  if (shared.has_closed) run.closed = shared.closed;
  run.operations = shared.operations;
  run.failures = observation.failures();
  return run;
}

}  // namespace

const char* const running_store = VRRP_CNV_RUNNING_STORE;

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
  const std::string path = relative == "." ? "/" : "/" + relative.string();
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
  std::error_code ignored;  // a directory that is not there holds no store
  const fs::path place = fs::weakly_canonical(fs::absolute(file).parent_path(), ignored) / fs::path(file).filename();
  for (const fs::path& store : {conversion.store(), conversion.snapshot()}) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
      if (place == store.string() + suffix) {
        throw Error(exit_usage, file + ": is the name of a store or belongs to one; name another file for the trace");
      }
    }
  }
  struct stat trace;
  if (lstat(file.c_str(), &trace) != 0) {
    if (errno == ENOENT && access(place.parent_path().c_str(), W_OK) == 0) return;
    throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  }
  if (!S_ISREG(trace.st_mode)) throw Error(exit_usage, file + no_regular_file);
  if (access(file.c_str(), W_OK) != 0) {
    throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  }
  if (is_database(file)) throw Error(exit_usage, file + ": is a store; name another file for the trace");
}

void create_trace_file(const std::string& file) { close(open_trace_file(file)); }

Run run_conversion(const Conversion& conversion, const RunOptions& options) {
  const Runner runner = {conversion,
                         options.trace,
                         options.trace_file,
                         "Converting",
                         options.expected_operations,
                         [&](Observation& observation) {
                           set_nonvolatile_root(conversion.root);
                           observation.begin(options.expected);
                         }};
  return runner.run();
}

Run run_dry(const Conversion& conversion, const Store& original, int result) {
  const Runner runner = {
      conversion, Trace::none,
      "",         "Dry run, records",
      0,          [&](Observation& observation) { observation.begin_dry_run(original.handle(), result); }};
  return runner.run();
}

}  // namespace vrrpconvert
