#include "tool/fleet/dry_runs.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "tool/support/memory_file.h"
#include "tool/support/process.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

Device missing_device(const Input& input) { return device_without_report(input.name, input.reason, input.problem); }

std::vector<std::string> arguments_for(const DryRunOptions& options, const fs::path& store) {
  const std::string directory = store.parent_path().empty() ? "." : store.parent_path().string();
  std::vector<std::string> arguments = {"vrrpconvert", "convert",  "--root",    directory,   "--from", options.from,
                                        "--to",        options.to, "--dry-run", "--summary", "--json"};
  for (const std::string& field : options.accepted) arguments.insert(arguments.end(), {"--accept-loss", field});
  for (const std::string& text : options.defaults.texts()) arguments.insert(arguments.end(), {"--default", text});
  arguments.insert(arguments.end(), {"--", directory});
  return arguments;
}

[[noreturn]] void run_in_child(char* const* arguments, int output, pid_t parent) noexcept {
  end_with_parent(parent);
  const int errors = open("/dev/null", O_WRONLY);
  if (errors >= 0 && dup2(output, STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0) {
    execv("/proc/self/exe", arguments);
  }
  _exit(127);
}

class DryRuns {
 public:
  DryRuns(const DryRunOptions& options, const std::vector<Input>& inputs)
      : options_(options), inputs_(inputs), progress_("Devices", inputs.size()) {
    // If the parent left SIGCHLD ignored, waitpid() would fail.
    signal(SIGCHLD, SIG_DFL);
  }

  std::vector<Device> run() {
    for (const Input& input : inputs_) {
      if (running_.size() == options_.jobs) wait_for_one();
      input.file.empty() ? add(missing_device(input)) : start(input);
    }
    while (!running_.empty()) wait_for_one();
    return std::move(devices_);
  }

 private:
  struct Running {
    pid_t process;
    std::unique_ptr<MemoryFile> output;
    std::string name;
  };

  void add(Device device) {
    devices_.push_back(std::move(device));
    progress_.show(devices_.size());
  }

  void start(const Input& input) {
    while (!try_to_start(input)) {
      if (running_.empty())
        throw Error(exit_io, std::string("cannot start a process for a dry run: ") + strerror(errno));
      wait_for_one();  // then there are resources for another process
    }
  }

  bool try_to_start(const Input& input) {
    std::unique_ptr<MemoryFile> output;
    try {
      output = std::make_unique<MemoryFile>();
    } catch (const Error&) {
      if (running_.empty()) throw;
      return false;
    }
    // Allocate before the fork: in the child, an exception would reach the parent's stack frames.
    std::vector<std::string> arguments = arguments_for(options_, input.file);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const pid_t parent = getpid(), process = fork();
    if (process == 0) run_in_child(pointers.data(), output->descriptor(), parent);
    if (process > 0) running_.push_back({process, std::move(output), input.name});
    return process > 0;
  }

  void wait_for_one() {
    pid_t ended;
    int status = 0;
    do {
      ended = waitpid(-1, &status, 0);
    } while (ended < 0 && errno == EINTR);
    const auto found =
        std::find_if(running_.begin(), running_.end(), [ended](const Running& one) { return one.process == ended; });
    if (found == running_.end()) return;
    std::ifstream report(found->output->path());
    Device device = device_of_report(found->name, report, options_.accepted);
    // Use a report only if the exit status matches: the dry run may have been killed after it.
    if (!WIFEXITED(status) || WEXITSTATUS(status) != static_cast<int>(device.report.exit)) {
      device.fail(exit_io, "not_examined",
                  WIFSIGNALED(status) ? "the dry run ended by signal " + std::to_string(WTERMSIG(status))
                                      : "the dry run did not finish");
    }
    add(std::move(device));
    running_.erase(found);
  }

  const DryRunOptions& options_;
  const std::vector<Input>& inputs_;
  Progress progress_;
  std::vector<Running> running_;
  std::vector<Device> devices_;
};

Device read_report(const Input& input, const std::set<std::string>& accepted) {
  const Input unreadable = {input.name, "", input.file.string() + ": cannot open", "unreadable"};
  // Opens neither a symbolic link nor a special file, which another user may have created after the search.
  const int fd = open(input.file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat status;
  const bool is_file = fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  std::ifstream report;
  if (is_file) report.open("/proc/self/fd/" + std::to_string(fd));
  if (fd >= 0) close(fd);  // the stream has opened the file again
  if (!report.is_open()) return missing_device(unreadable);
  try {
    return device_of_report(input.name, report, accepted);
  } catch (const std::ios_base::failure&) {
    return missing_device(unreadable);
  }
}

}  // namespace

std::vector<Device> run_dry_runs(const DryRunOptions& options, const std::vector<Input>& inputs) {
  return DryRuns(options, inputs).run();
}

std::vector<Device> read_reports(const std::vector<Input>& inputs, const std::set<std::string>& accepted) {
  std::vector<Device> devices;
  devices.reserve(inputs.size());
  for (const Input& input : inputs) {
    devices.push_back(input.file.empty() ? missing_device(input) : read_report(input, accepted));
  }
  return devices;
}

}  // namespace vrrpconvert
