#include "tool/fleet/verify.h"

#include "tool/conversion/backup.h"
#include "tool/store/difference.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Returns the last backup, or an empty path.
fs::path last_backup_of(const fs::path& store) {
  fs::path last;
  fs::file_time_type time;
  for (const fs::path& file : backups_of(store)) {
    std::error_code error;
    const fs::file_time_type written = fs::last_write_time(file, error);
    if (error || release_in_name(file).empty() || (!last.empty() && written <= time)) continue;
    last = file;
    time = written;
  }
  return last;
}

void compare(const fs::path& store_file, Device& device) {
  device.report.store = store_file;
  const Store store(store_file);
  device.report.summary.records = count_records(store);
  const fs::path file = last_backup_of(store_file);
  if (file.empty()) return device.fail(exit_bad_input, "no_backup", "no backup next to the store");
  const Store backup(file);
  device.differences = names_of_differences(backup, store, {.ignore_layout = true});
  const RecordCounts& records = device.report.summary.records;
  const std::string compared = "differs from " + file.filename().string();
  if (device.differences.empty()) {
    device.report.reason = "identical";
  } else if (records.of(Kind::vr) + records.of(Kind::ip_assoc) == 0) {
    device.fail(exit_found, "not_configured", compared);
  } else {
    device.fail(exit_found, "differs", compared);
  }
}

}  // namespace

std::vector<Device> verify_stores(const std::vector<Input>& inputs) {
  Progress progress("Devices", inputs.size());
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    progress.show(devices.size());
    Device device = {input.name};
    try {
      if (input.file.empty()) throw Error(exit_bad_input, input.problem, input.reason);
      compare(input.file, device);
    } catch (const Error& error) {
      device.fail(error.exit_code, error.reason, error.what());
    }
    devices.push_back(std::move(device));
  }
  return devices;
}

}  // namespace vrrpconvert
