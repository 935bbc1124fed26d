#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <optional>

#include "tool/commands/commands.h"
#include "tool/commands/device.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/plan.h"
#include "tool/support/interrupt.h"
#include "tool/support/progress.h"
#include "tool/support/style.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct Input {
  std::string name;  // of the device
  fs::path file;     // its store or its report; empty where there is none
};

// The name of a device: its directory below what was asked for.
std::string name_below(const fs::path& directory, const fs::path& asked, bool is_only_one) {
  const fs::path below = directory.lexically_relative(asked);
  if (!is_only_one) return directory.string();
  return below.empty() || below == "." ? fs::absolute(directory).lexically_normal().filename().string()
                                       : below.string();
}

bool is_wanted(const fs::path& file, bool reports) {
  return reports ? file.extension() == ".json" : file.filename() == running_store;
}

// A report stands for the device that it is named after, or, as report.json, for its directory.
Input input_for(const fs::path& file, const fs::path& asked, const FleetOptions& options) {
  const bool is_only_one = options.paths.size() == 1;
  const fs::path device =
      options.reports && file.filename() != "report.json" ? fs::path(file).replace_extension() : file.parent_path();
  return {name_below(device, asked, is_only_one), file};
}

std::vector<Input> find_inputs(const FleetOptions& options) {
  std::vector<Input> inputs;
  for (const std::string& asked : options.paths) {
    const size_t before = inputs.size();
    std::error_code error;  // a directory that cannot be read shows as one without a store
    const auto all = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator at(asked, all, error), end; !error && at != end; at.increment(error)) {
      if (is_wanted(at->path(), options.reports)) inputs.push_back(input_for(at->path(), asked, options));
    }
    if (inputs.size() == before) inputs.push_back({asked, ""});
  }
  std::sort(inputs.begin(), inputs.end(), [](const Input& a, const Input& b) { return a.name < b.name; });
  return inputs;
}

Device missing_device(const Input& input, const FleetOptions& options) {
  Device device;
  device.name = input.name;
  device.reason = "missing";
  device.problem = options.reports ? "no report below it" : "no store below it";
  return device;
}

// ---- Dry runs, each in a process of its own ----

class DryRuns {
 public:
  DryRuns(const FleetOptions& options, std::vector<Input> inputs)
      : options_(options), inputs_(std::move(inputs)), progress_("Devices", inputs_.size()) {}

  std::vector<Device> run() {
    for (const Input& input : inputs_) {
      if (running_.size() == options_.jobs) wait_for_one();
      if (was_interrupted()) break;
      input.file.empty() ? add(missing_device(input, options_)) : start(input);
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
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const int output = memfd_create("report", MFD_CLOEXEC);
    const pid_t process = output >= 0 ? fork() : -1;
    if (process < 0) throw Error(exit_io, std::string("no process for a dry run: ") + strerror(errno));
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      dup2(output, STDOUT_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      execv("/proc/self/exe", pointers.data());
      _exit(127);
    }
    running_.push_back({process, output, input.name});
  }

  void wait_for_one() {
    pid_t ended;
    while ((ended = waitpid(-1, nullptr, 0)) < 0 && errno == EINTR) {
      for (const Running& one : running_) kill(one.process, SIGTERM);
    }
    const auto found =
        std::find_if(running_.begin(), running_.end(), [ended](const Running& one) { return one.process == ended; });
    if (found == running_.end()) return;
    std::ifstream report("/proc/self/fd/" + std::to_string(found->output));
    add(device_of_report(found->name, report, options_.accepted));
    close(found->output);
    running_.erase(found);
  }

  const FleetOptions& options_;
  std::vector<Input> inputs_;
  Progress progress_;
  std::vector<Running> running_;
  std::vector<Device> devices_;
};

std::vector<Device> read_reports(const FleetOptions& options, const std::vector<Input>& inputs) {
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    end_if_interrupted();
    std::ifstream report(input.file);
    devices.push_back(input.file.empty() ? missing_device(input, options)
                                         : device_of_report(input.name, report, options.accepted));
  }
  return devices;
}

// ---- Output ----

void print_table(const Fleet& fleet) {
  std::vector<std::vector<std::string>> rows = {
      {"device", "records", "verdict", "would be lost", "would fail", "problem"}};
  for (const Device& device : fleet.devices) {
    rows.push_back({device.name, std::to_string(device.records), device.verdict(), device.lost_text(),
                    std::to_string(device.failures), device.problem});
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

// A new file, which only its owner can read: problems name paths, and a store must not be overwritten by mistake.
int create_page(const std::string& file) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) throw Error(exit_usage, file + ": cannot be created: " + strerror(errno));
  return fd;
}

void write_page(int fd, const std::string& file, const std::string& html) {
  for (size_t written = 0; written < html.size();) {
    const ssize_t count = write(fd, html.data() + written, html.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw Error(exit_io, file + ": cannot be written: " + strerror(errno));
    written += static_cast<size_t>(count);
  }
  if (close(fd) != 0) throw Error(exit_io, file + ": cannot be written: " + strerror(errno));
}

}  // namespace

Exit fleet(const FleetOptions& options) {
  check_accepted(options.accepted);
  if (!options.reports) {
    parse_release("--from", options.from);
    parse_release("--to", options.to);
  }
  const int page = options.html.empty() ? -1 : create_page(options.html);
  Fleet fleet = {options.from, options.to, {}};
  const std::vector<Input> inputs = find_inputs(options);
  fleet.devices = options.reports ? read_reports(options, inputs) : DryRuns(options, inputs).run();
  std::sort(fleet.devices.begin(), fleet.devices.end(),
            [](const Device& a, const Device& b) { return std::pair(a.rank(), a.name) < std::pair(b.rank(), b.name); });
  if (page != -1) write_page(page, options.html, html_of(fleet));
  if (options.json != nullptr) {
    print_json(fleet, *options.json);
  } else {
    print_table(fleet);
    print_totals(fleet);
  }
  return fleet.exit();
}

}  // namespace vrrpconvert
