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
#include <iostream>

#include "libconvertvrrp.h"
#include "tool/conversion/observation.h"
#include "tool/store/store.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"
#include "tool/support/progress.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char no_regular_file[] = ": is no regular file; name one that the trace can be appended to";

void write_version_file(const fs::path& file, const std::string& version) {
  std::ofstream stream(file);
  stream << version << '\n';
  if (!stream.flush()) throw Error(exit_io, file.string() + ": cannot be written; nothing was changed");
}

int open_trace_file(const std::string& file) {
  // Mode 0600: a dump of a record shows its authentication key. O_NONBLOCK: a FIFO would hold the tool.
  const int fd = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600);
  if (fd == -1) throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  return fd;
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

[[noreturn]] void run_library_in_child(const Conversion& conversion, const RunOptions& options,
                                       const fs::path& versions, int trace, Observation& observation) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    if (signal(number, SIG_DFL) == SIG_IGN) signal(number, SIG_IGN);  // nohup holds for the library too
  }
  set_nonvolatile_root(conversion.root);
  setenv("SYSMGR_FROM_SRG_PATH", (versions / "from").c_str(), 1);
  setenv("SYSMGR_TO_SRG_PATH", (versions / "to").c_str(), 1);
  setenv("SYSMGR_VDC_ID", std::to_string(conversion.vdc).c_str(), 1);
  trace_fd = trace;
  observation.begin(options.expected);
  observation.shared().result = call_library(conversion, options.trace);
  observation.shared().answered = true;
  _exit(0);
}

// A process that was killed while it took its snapshot leaves its scratch directory, whose name has its number.
void remove_scratch_directories(pid_t process, const fs::path& parent) {
  std::error_code ignored;  // what cannot be removed does no harm
  const std::string start = ".pss-" + std::to_string(process) + "-";
  for (const auto& entry : fs::directory_iterator(parent, ignored)) {
    if (entry.path().filename().string().rfind(start, 0) == 0) fs::remove_all(entry.path(), ignored);
  }
}

// Waits for the process, which has the other end of the pipe `alive`, and shows how far it is. Returns whether the
// operator interrupted it.
bool wait_for(pid_t process, int alive, const Observation& observation, const RunOptions& options) {
  Progress progress(options.label, options.expected_operations);
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
  struct stat trace, other;
  if (stat(file.c_str(), &trace) != 0) {
    const fs::path directory = fs::path(file).parent_path();
    if (errno == ENOENT && access(directory.empty() ? "." : directory.c_str(), W_OK) == 0) return;
    throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  }
  if (!S_ISREG(trace.st_mode)) throw Error(exit_usage, file + no_regular_file);
  if (access(file.c_str(), W_OK) != 0) {
    throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
  }
  for (const fs::path& store : {conversion.store(), conversion.snapshot()}) {
    if (stat(store.c_str(), &other) == 0 && other.st_dev == trace.st_dev && other.st_ino == trace.st_ino) {
      throw Error(exit_usage, file + ": is a store; name another file for the trace");
    }
  }
}

void create_trace_file(const std::string& file) { close(open_trace_file(file)); }

Run run_conversion(const Conversion& conversion, const RunOptions& options) {
  const ScratchDirectory versions(temporary_directory());
  write_version_file(versions.path() / "from", conversion.from.text);
  write_version_file(versions.path() / "to", conversion.to.text);
  Observation observation;
  const int trace = options.trace == Trace::to_file ? open_trace_file(options.trace_file) : -1;
  int alive[2];  // a pipe that the process has open as long as it lives
  if (pipe2(alive, O_CLOEXEC) != 0) throw Error(exit_io, std::string("no pipe: ") + strerror(errno));
  std::cout.flush();
  const pid_t process = fork();
  if (process == 0) run_library_in_child(conversion, options, versions.path(), trace, observation);
  const int reason = errno;
  close(alive[1]);
  if (trace != -1) close(trace);  // the library synced every line
  const bool interrupted = process > 0 && wait_for(process, alive[0], observation, options);
  close(alive[0]);
  if (process < 0) throw Error(exit_io, std::string("no process for the conversion: ") + strerror(reason));
  const auto& shared = observation.shared();
  if (!shared.answered) remove_scratch_directories(process, conversion.snapshot().parent_path());
  return {shared.answered,    interrupted,         shared.was_changed, shared.result,
          shared.open_status, shared.close_status, shared.operations,  observation.failures()};
}

}  // namespace vrrpconvert
