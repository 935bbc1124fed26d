#include "tool/fleet/verify.h"

#include "tool/conversion/backup.h"
#include "tool/store/difference.h"
#include "tool/support/error.h"
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

Ending compare(const fs::path& store_file, Device& device) {
  device.report.store = store_file;
  const Store store(store_file);
  const RecordCounts counts = device.report.summary.counts = count_records(store);
  const fs::path file = last_backup_of(store_file);
  if (file.empty()) return {Reason::no_backup, "no backup next to the store"};
  const Store backup(file);
  device.differences = names_of_differences(backup, store, {.ignore_layout = true});
  if (device.differences.empty()) return {Reason::identical};
  const bool is_empty = counts.of(Kind::vr) + counts.of(Kind::ip_assoc) == 0;
  return {is_empty ? Reason::not_configured : Reason::differs, "differs from " + file.filename().string()};
}

}  // namespace

std::vector<Device> verify_stores(const std::vector<Input>& inputs) {
  Progress progress("Devices", inputs.size());
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    progress.show(devices.size());
    devices.push_back(device_without_report(input.name, input.ending));
    if (input.file.empty()) continue;
    Device& device = devices.back();
    try {
      device.report.ending = compare(input.file, device);
    } catch (const Error& error) {
      device.report.ending = error.ending();
    }
  }
  return devices;
}

}  // namespace vrrpconvert
