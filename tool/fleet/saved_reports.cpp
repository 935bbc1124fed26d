#include "tool/fleet/saved_reports.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace vrrpconvert {
namespace {

Device device_of(const Input& input, std::istream& stream, const std::vector<std::string>& accepted) {
  const std::optional<DryRunReport> report = read_dry_run_report(stream);
  if (!report) {
    return device_without_report(input.name, {Reason::bad_report, "not a report of convert --dry-run --json"});
  }
  Device device = {input.name, *report};
  device.take_permissions(accepted);
  return device;
}

Device read_report(const Input& input, const std::vector<std::string>& accepted) {
  // Opens neither a symbolic link nor a special file, which another user may have created after the search.
  const int fd = open(input.file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat status;
  const bool is_file = fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  std::ifstream report;
  if (is_file) report.open("/proc/self/fd/" + std::to_string(fd));
  if (fd >= 0) close(fd);  // the stream has opened the file again
  const Ending unreadable = {Reason::unreadable, input.file.string() + ": cannot open"};
  if (!report.is_open()) return device_without_report(input.name, unreadable);
  try {
    return device_of(input, report, accepted);
  } catch (const std::ios_base::failure&) {
    return device_without_report(input.name, unreadable);
  }
}

}  // namespace

std::vector<Device> read_reports(const std::vector<Input>& inputs, const std::vector<std::string>& accepted) {
  std::vector<Device> devices;
  devices.reserve(inputs.size());
  for (const Input& input : inputs) {
    devices.push_back(input.file.empty() ? device_without_report(input.name, input.ending)
                                         : read_report(input, accepted));
  }
  return devices;
}

}  // namespace vrrpconvert
