#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <tuple>

#include "tool/commands/commands.h"
#include "tool/commands/device.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/plan.h"
#include "tool/support/interrupt.h"
#include "tool/support/memory_file.h"
#include "tool/support/printable.h"
#include "tool/support/progress.h"
#include "tool/support/style.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct Input {
  std::string name;       // of the device
  fs::path file;          // its store or its report; empty where there is none
  std::string problem{};  // why
};

// The name of a device: its directory below what was asked for.
std::string name_below(const fs::path& directory, const fs::path& asked, bool is_only_one) {
  const fs::path below = directory.lexically_relative(asked);
  if (!is_only_one) return directory.string();
  return below.empty() || below == "." ? fs::absolute(directory).lexically_normal().filename().string()
                                       : below.string();
}

// A report stands for the device that it is named after, or, as report.json, for its directory.
fs::path device_of(const fs::path& file, bool is_report) {
  return is_report && file.filename() != "report.json" ? fs::path(file).replace_extension() : file.parent_path();
}

// Finds the stores or reports below directories. A directory that cannot be read is an input too: no device is left out
// without a word.
class Search {
 public:
  explicit Search(const FleetOptions& options) : options_(options) {}

  std::vector<Input> run() {
    for (const std::string& asked : options_.paths) {
      const size_t before = inputs_.size();
      search(asked);
      if (inputs_.size() == before) {
        inputs_.push_back({asked, "", options_.reports ? "no report below it" : "no store below it"});
      }
    }
    const auto key = [](const Input& input) { return std::tie(input.name, input.file); };
    std::sort(inputs_.begin(), inputs_.end(), [key](const Input& a, const Input& b) { return key(a) < key(b); });
    const auto same = [key](const Input& a, const Input& b) { return key(a) == key(b); };
    inputs_.erase(std::unique(inputs_.begin(), inputs_.end(), same), inputs_.end());
    return std::move(inputs_);
  }

 private:
  void search(const fs::path& asked) {
    std::vector<fs::path> waiting = {asked};
    while (!waiting.empty()) {
      end_if_interrupted();
      const fs::path directory = waiting.back();
      waiting.pop_back();
      std::error_code error;
      for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;  // what is no directory and no wanted file does not matter
        if (at->is_directory(ignored) && !at->is_symlink(ignored)) {
          waiting.push_back(at->path());
        } else if (is_wanted(*at)) {
          add(device_of(at->path(), options_.reports), asked, {"", at->path()});
        }
      }
      if (error) add(directory, asked, {"", "", directory.string() + ": " + error.message()});
    }
  }

  bool is_wanted(const fs::directory_entry& entry) const {
    std::error_code ignored;
    if (!options_.reports) return entry.path().filename() == running_store;
    return entry.path().extension() == ".json" && fs::is_regular_file(entry.symlink_status(ignored));
  }

  void add(const fs::path& directory, const fs::path& asked, Input input) {
    input.name = name_below(directory, asked, options_.paths.size() == 1);
    inputs_.push_back(std::move(input));
  }

  const FleetOptions& options_;
  std::vector<Input> inputs_;
};

Device missing_device(const Input& input) {
  Device device;
  device.name = input.name;
  device.reason = "missing";
  device.problem = input.problem;
  return device;
}

// ---- Dry runs, each in a process of its own ----

class DryRuns {
 public:
  DryRuns(const FleetOptions& options, std::vector<Input> inputs)
      : options_(options), inputs_(std::move(inputs)), progress_("Devices", inputs_.size()) {
    signal(SIGCHLD, SIG_DFL);  // ignored by whoever started this, it would leave no process to wait for
  }

  std::vector<Device> run() {
    for (const Input& input : inputs_) {
      if (running_.size() == options_.jobs) wait_for_one();
      if (was_interrupted()) break;
      input.file.empty() ? add(missing_device(input)) : start(input);
    }
    while (!running_.empty()) wait_for_one();
    end_if_interrupted();
    return std::move(devices_);
  }

 private:
  struct Running {
    pid_t process;
    int output;
    std::string name;
  };

  void add(Device device) {
    devices_.push_back(std::move(device));
    progress_.show(devices_.size());
  }

  std::vector<std::string> arguments_for(const fs::path& store) const {
    const std::string directory = store.parent_path().empty() ? "." : store.parent_path().string();
    std::vector<std::string> arguments = {"vrrpconvert", "convert",   "--root",    directory,   "--from", options_.from,
                                          "--to",        options_.to, "--dry-run", "--summary", "--json"};
    for (const std::string& field : options_.accepted) arguments.insert(arguments.end(), {"--accept-loss", field});
    arguments.insert(arguments.end(), {"--", directory});
    return arguments;
  }

  void start(const Input& input) {
    std::vector<std::string> arguments = arguments_for(input.file);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    int output = memfd_create("report", MFD_CLOEXEC);
    pid_t process = output >= 0 ? fork() : -1;
    while (process < 0 && !running_.empty()) {
      if (output >= 0) close(output);
      wait_for_one();  // which gives back what there is too little of
      output = memfd_create("report", MFD_CLOEXEC);
      process = output >= 0 ? fork() : -1;
    }
    if (process < 0) throw Error(exit_io, std::string("no process for a dry run: ") + strerror(errno));
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      const int errors = open("/dev/null", O_WRONLY);
      if (errors < 0 || dup2(output, STDOUT_FILENO) < 0 || dup2(errors, STDERR_FILENO) < 0) _exit(127);
      execv("/proc/self/exe", pointers.data());
      _exit(127);
    }
    running_.push_back({process, output, input.name});
  }

  void wait_for_one() {
    pid_t ended;
    int status = 0;
    do {
      if (was_interrupted()) {
        for (const Running& one : running_) kill(one.process, SIGTERM);
      }
      ended = waitpid(-1, &status, 0);
    } while (ended < 0 && errno == EINTR);
    const auto found =
        std::find_if(running_.begin(), running_.end(), [ended](const Running& one) { return one.process == ended; });
    if (found == running_.end()) return;
    std::ifstream report("/proc/self/fd/" + std::to_string(found->output));
    Device device = device_of_report(found->name, report, options_.accepted);
    // Whatever a dry run printed counts only with the exit code that goes with it.
    if (!WIFEXITED(status) || WEXITSTATUS(status) != static_cast<int>(device.exit)) {
      device.exit = exit_io;
      device.reason = "not_examined";
      device.problem = WIFSIGNALED(status) ? "its dry run was ended by signal " + std::to_string(WTERMSIG(status))
                                           : "its dry run could not be run to its end";
    }
    add(std::move(device));
    close(found->output);
    running_.erase(found);
  }

  const FleetOptions& options_;
  std::vector<Input> inputs_;
  Progress progress_;
  std::vector<Running> running_;
  std::vector<Device> devices_;
};

Device read_report(const Input& input, const std::set<std::string>& accepted) {
  // Not a link, nor anything else that another user put there since the search.
  const int fd = open(input.file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat status;
  if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    if (fd >= 0) close(fd);
    return missing_device({input.name, "", input.file.string() + ": cannot be read"});
  }
  std::ifstream report("/proc/self/fd/" + std::to_string(fd));
  close(fd);  // the stream has it open
  try {
    return device_of_report(input.name, report, accepted);
  } catch (const std::ios_base::failure&) {
    return missing_device({input.name, "", input.file.string() + ": cannot be read"});
  }
}

std::vector<Device> read_reports(const FleetOptions& options, const std::vector<Input>& inputs) {
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    end_if_interrupted();
    devices.push_back(input.file.empty() ? missing_device(input) : read_report(input, options.accepted));
  }
  return devices;
}

// The releases that all reports are of; a report of others is none of this change.
void take_releases(Fleet& fleet) {
  for (Device& device : fleet.devices) {
    if (device.from.empty()) continue;
    if (fleet.from.empty()) {
      fleet.from = device.from;
      fleet.to = device.to;
    } else if (device.from != fleet.from || device.to != fleet.to) {
      device.exit = exit_bad_input;
      device.reason = "bad_report";
      device.problem =
          "its report is of " + device.from + " to " + device.to + ", another one of " + fleet.from + " to " + fleet.to;
    }
  }
}

// ---- Output ----

void print_table(const Fleet& fleet) {
  std::vector<std::vector<std::string>> rows = {
      {"device", "records", "verdict", "would be lost", "would fail", "problem"}};
  for (const Device& device : fleet.devices) {
    rows.push_back({printable(device.name), std::to_string(device.records), device.verdict(), device.lost_text(),
                    std::to_string(device.failures), printable(device.problem)});
  }
  std::vector<size_t> widths(rows[0].size());
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << (&row == &rows[0] ? styled(Style::bold, line) : line) << '\n';
  }
}

void print_totals(const Fleet& fleet) {
  std::cout << '\n' << fleet.devices.size() << (fleet.devices.size() == 1 ? " device:" : " devices:");
  const char* separator = " ";
  for (const auto& [verdict, count] : fleet.verdicts()) {
    std::cout << separator << count << ' ' << verdict;
    separator = ", ";
  }
  std::cout << '\n';
  for (const auto& [field, lost] : fleet.lost()) {
    std::cout << "  " << std::left << std::setw(27) << field << std::right << std::setw(8) << lost.records
              << (lost.records == 1 ? " record" : " records") << " on " << lost.devices
              << (lost.devices == 1 ? " device" : " devices") << '\n';
  }
}

void print_json(const Fleet& fleet, JsonReport& report) {
  JsonWriter& json = report.begin();
  json.member_or_null("from", fleet.from);
  json.member_or_null("to", fleet.to);
  json.key("devices");
  json.begin_list();
  for (const Device& device : fleet.devices) device.write(json);
  json.end();
  json.key("totals");
  json.begin_object();
  json.member("devices", fleet.devices.size());
  json.key("verdicts");
  json.begin_object();
  for (const auto& [verdict, count] : fleet.verdicts()) json.member(verdict, count);
  json.end();
  json.key("lost");
  json.begin_object();
  for (const auto& [field, lost] : fleet.lost()) {
    json.key(field);
    json.begin_object();
    json.member("devices", lost.devices);
    json.member("records", lost.records);
    json.end();
  }
  json.end();
  json.end();
  json.member("exit", static_cast<unsigned>(fleet.exit()));
  json.end();
}

// The page, in a new file that only its owner can read: problems name paths, and a store must not be overwritten by
// mistake. A page that was not finished goes.
class PageFile {
 public:
  explicit PageFile(const std::string& file)
      : file_(file), fd_(file.empty() ? -1 : open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
    if (!file.empty() && fd_ < 0) throw Error(exit_usage, file + ": cannot be created: " + strerror(errno));
  }
  PageFile(const PageFile&) = delete;
  PageFile& operator=(const PageFile&) = delete;
  ~PageFile() {
    if (fd_ < 0) return;
    close(fd_);
    unlink(file_.c_str());
  }

  void write(const std::string& html) {
    if (fd_ < 0) return;
    for (size_t written = 0; written < html.size();) {
      const ssize_t count = ::write(fd_, html.data() + written, html.size() - written);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw Error(exit_io, file_ + ": cannot be written: " + strerror(errno));
      written += static_cast<size_t>(count);
    }
    if (fsync(fd_) != 0) throw Error(exit_io, file_ + ": cannot be written: " + strerror(errno));
    close(fd_);
    fd_ = -1;
  }

 private:
  const std::string file_;
  int fd_;
};

}  // namespace

Exit fleet(const FleetOptions& options) {
  check_accepted(options.accepted);
  if (!options.reports) {
    parse_release("--from", options.from);
    parse_release("--to", options.to);
  }
  PageFile page(options.html);
  Fleet fleet = {options.from, options.to, {}};
  const std::vector<Input> inputs = Search(options).run();
  fleet.devices = options.reports ? read_reports(options, inputs) : DryRuns(options, inputs).run();
  if (options.reports) take_releases(fleet);
  std::sort(fleet.devices.begin(), fleet.devices.end(),
            [](const Device& a, const Device& b) { return std::pair(a.rank(), a.name) < std::pair(b.rank(), b.name); });
  page.write(html_of(fleet));
  if (options.json != nullptr) {
    print_json(fleet, *options.json);
  } else {
    print_table(fleet);
    print_totals(fleet);
  }
  return fleet.exit();
}

}  // namespace vrrpconvert
