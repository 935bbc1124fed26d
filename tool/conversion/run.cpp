#include "tool/conversion/run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "libconvertvrrp.h"
#include "tool/conversion/observation.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"
#include "tool/support/memory_file.h"
#include "tool/support/process.h"
#include "tool/support/progress.h"

namespace vrrpconvert {
namespace {

// Calls the library once, as the system manager does. A dry run calls the driver directly, because the entry point
// would open the device's log.
syserr_t call_library(const Conversion& conversion, bool is_dry_run) {
  const char *to = conversion.to.text.c_str(), *from = conversion.from.text.c_str();
  const bool startup = conversion.request.startup;
  if (!is_dry_run) {
    const auto entry_point = startup ? convert_startup : convert_gsync;
    return entry_point(conversion.path.c_str(), "vrrpconvert", to, from);
  }
  const std::string path = conversion.path + (startup ? VRRP_CNV_STARTUP_DIRECTORY : "");
  return vrrp_mgr_handle_generic_convert(path.c_str(), "vrrpconvert", to, from,
                                         startup ? VRRP_CONVERT_STARTUP : VRRP_CONVERT_GSYNC);
}

// The version files of both releases.
class VersionFiles {
 public:
  explicit VersionFiles(const Conversion& conversion)
      : from_(conversion.from.text + '\n'),
        to_(conversion.to.text + '\n'),
        vdc_(std::to_string(conversion.request.vdc)) {}

  // Replaces the operator's values in this process, which would change the conversion. Returns whether that succeeded.
  bool set_environment() const {
    return setenv("SYSMGR_FROM_SRG_PATH", from_.path().c_str(), 1) == 0 &&
           setenv("SYSMGR_TO_SRG_PATH", to_.path().c_str(), 1) == 0 && setenv("SYSMGR_VDC_ID", vdc_.c_str(), 1) == 0;
  }

 private:
  MemoryFile from_, to_;
  std::string vdc_;
};

void run_in_environment(const RunOptions& options, Observation& observation) {
  observation.begin(options);
  observation.observed().result = call_library(options.conversion, options.is_dry_run);
  observation.observed().returned = true;
}

// noexcept: a lack of memory ends this process; an exception must not reach the parent's stack frames.
[[noreturn]] void run_in_child(const RunOptions& options, const VersionFiles& versions, Observation& observation,
                               pid_t parent) noexcept {
  end_with_parent(parent);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    if (signal(number, SIG_DFL) == SIG_IGN) signal(number, SIG_IGN);  // nohup applies to the library too
  }
  if (!versions.set_environment()) _exit(1);
  trace_fd = options.trace;
  if (!options.is_dry_run) set_nonvolatile_root(options.conversion.request.root);
  run_in_environment(options, observation);
  _exit(0);
}

// Waits until the process ends and closes its end of the pipe `alive`, and shows the progress. Returns whether the
// operator interrupted it.
bool wait_for(pid_t process, int alive, const RunOptions& options, const Observation& observation) {
  Progress progress(options.is_dry_run ? "Dry run, records" : "Converting", options.operations);
  constexpr int pause_ms = 50;
  pollfd end = {alive, POLLIN, 0};
  bool interrupted = false;
  while (poll(&end, 1, pause_ms) <= 0) {
    if (was_interrupted() && !interrupted) {
      interrupted = true;
      kill(process, SIGKILL);
    }
    progress.show(observation.operations());
  }
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  return interrupted || was_interrupted();
}

}  // namespace

Run run_library(const RunOptions& options) {
  const VersionFiles versions(options.conversion);
  Observation observation;
  int alive[2];  // a pipe that the process keeps open until it ends
  if (pipe2(alive, O_CLOEXEC) != 0) throw Error(Reason::io, std::string("cannot create a pipe: ") + strerror(errno));
  const pid_t parent = getpid(), process = fork();
  if (process == 0) run_in_child(options, versions, observation, parent);
  const int reason = errno;
  close(alive[1]);
  const bool interrupted = process > 0 && wait_for(process, alive[0], options, observation);
  close(alive[0]);
  if (process < 0)
    throw Error(Reason::io, std::string("cannot start a process for the conversion: ") + strerror(reason));
  return {observation.observed(), interrupted, observation.failures()};
}

Run run_library_here(const Conversion& conversion, const Store& copy) {
  const VersionFiles versions(conversion);
  Observation observation;
  if (!versions.set_environment()) throw Error(Reason::no_memory, "out of memory: cannot set the environment");
  run_in_environment({.conversion = conversion, .original = copy, .is_dry_run = true}, observation);
  return {observation.observed(), false, observation.failures()};
}

}  // namespace vrrpconvert
