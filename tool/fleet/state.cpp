#include "tool/fleet/state.h"

#include <algorithm>

#include "tool/conversion/conversion.h"
#include "tool/fleet/device.h"
#include "tool/fleet/search.h"
#include "tool/fleet/verify.h"
#include "tool/store/difference.h"
#include "tool/store/paths.h"
#include "tool/support/error.h"
#include "tool/support/printable.h"
#include "tool/support/progress.h"
#include "tool/trace/log.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

fs::path root_of(const fs::path& store, const std::string& root) {
  if (!root.empty()) return root;
  fs::path directory = existing_directory(store.parent_path());
  for (const fs::path& candidate : {directory, directory.parent_path()}) {
    if (path_exists(candidate / "tmp") || path_exists(candidate / "bootflash")) return candidate;
  }
  return directory;
}

// Finds the last global synchronisation of the store in the log. If the log names only one store, it is this one: the
// directory may be a copy with another path.
void find_call(const fs::path& store, const fs::path& root, DeviceState& state) {
  const fs::path log = root / trace_log_below_root;
  if (!path_exists(log)) return;
  state.log = log;
  const std::string url = "nonvolatile:/" + existing_directory(store.parent_path())
                                                .lexically_relative(existing_directory(root))
                                                .append(store.filename().string())
                                                .lexically_normal()
                                                .string();
  std::optional<Call> last;
  bool is_only_store = true;
  read_trace_logs({state.log}, [&](const Call& call) {
    if (call.entry_point == "convert_running" || call.entry_point == "convert_startup") return;
    is_only_store = is_only_store && (!last || last->store == call.store);
    last = call;
    if (call.store == url) state.call = call;
  });
  if (!state.call && is_only_store) state.call = last;
}

const Backup* largest(const std::vector<Backup>& files) {
  const auto most = std::max_element(files.begin(), files.end(), [](const Backup& one, const Backup& other) {
    return one.counts.routers() < other.counts.routers();
  });
  return most == files.end() || most->counts.routers() == 0 ? nullptr : &*most;
}

std::string name_of_file(const Backup& backup) { return fs::path(backup.file).filename(); }

// Returns the source of the last conversion that left a file: the backup with the highest number, or a snapshot. A
// replaced store STORE.N tells nothing about a conversion. Returns null if there is none.
const Backup* last_source(const std::vector<Backup>& files, const fs::path& store) {
  fs::path last;
  try {
    last = last_backup_of(store);
  } catch (const Error&) {
    return nullptr;  // two backups with one number
  }
  const auto source = std::find_if(files.begin(), files.end(), [&last](const Backup& file) {
    return last.empty() ? is_snapshot_name(file.file) : file.file == last;
  });
  return source == files.end() ? nullptr : &*source;
}

// The conclusion for one device.
class Conclusion {
 public:
  Conclusion(const Device& device, DeviceState& state)
      : counts_(device.report.summary.counts), store_(device.report.store), state_(state) {}

  Ending ending() {
    if (!state_.unfinished_files.empty()) return unfinished("a process left " + state_.unfinished_files.front());
    if (state_.call && !state_.call->has_ended) return unfinished("the last call in the log " + state_.call->ending());
    const size_t new_ones = counts_.with_layout(Version::new_one), old_ones = counts_.with_layout(Version::old_one);
    if (new_ones > 0 && old_ones > 0) {
      return partly("the store has both layouts: " + std::to_string(new_ones) + " new, " + std::to_string(old_ones) +
                    " old records");
    }
    if (counts_.routers() == 0) return ending_without_records();
    const std::string change = state_.call ? state_.call->change : "";
    if (change == "upgrade") return ending_of_upgrade(old_ones);
    if (change == "downgrade") return ending_of_downgrade(new_ones);
    // Without a conversion in the log, the layout of its source shows that there was one.
    const Backup* source = last_source(state_.files, store_);
    if (source != nullptr && source->counts.with_layout(new_ones > 0 ? Version::old_one : Version::new_one) > 0) {
      return {new_ones > 0 ? Reason::configured : Reason::downgraded, ""};
    }
    return not_converted(new_ones > 0);
  }

 private:
  std::string go_back() const {
    const Backup* backup = largest(state_.files);
    if (backup == nullptr) return "";
    return "vrrpconvert restore " + quoted_for_shell(backup->file) + " " + quoted_for_shell(store_);
  }

  Ending unfinished(const std::string& why) {
    state_.next = "vrrpconvert check " + quoted_for_shell(store_);
    return {Reason::unfinished, why};
  }

  Ending partly(const std::string& why) {
    state_.next = go_back();
    return {Reason::partly, why};
  }

  Ending not_converted(bool is_new) const {
    return {Reason::not_converted, std::string("the store has the ") + (is_new ? "new" : "old") + " layout"};
  }

  Ending ending_without_records() {
    const size_t deleted = state_.call && state_.call->change == "upgrade" ? state_.call->done.total() : 0;
    const Backup* backup = largest(state_.files);
    const size_t left = backup == nullptr ? 0 : backup->counts.routers();
    if (deleted > left) {
      state_.next = "look for a copy of the store elsewhere before anything else is written";
      return {Reason::lost, "the log says that " + std::to_string(deleted) + " records were deleted; " +
                                (left == 0 ? "no snapshot and no backup has records"
                                           : name_of_file(*backup) + " has " + std::to_string(left))};
    }
    if (left == 0) return {Reason::no_vrrp, ""};
    state_.next = "enter the VRRP configuration again, then run vrrpconvert verify; or to go back: " + go_back();
    return {Reason::upgraded,
            "no VRRP records are entered again; " + name_of_file(*backup) + " has " + std::to_string(left)};
  }

  Ending ending_of_upgrade(size_t old_ones) {
    if (old_ones == 0) return {Reason::configured, ""};
    if (state_.call->failure_count > 0 && state_.call->done.total() > 0) {
      return partly(std::to_string(state_.call->failure_count) + " failures in the log; the store has " +
                    std::to_string(old_ones) + " old records");
    }
    if (state_.call->done.total() > 0) {
      contradict("the log says that " + std::to_string(state_.call->done.total()) +
                 " records were deleted, but the store has " + std::to_string(old_ones) +
                 " in the old layout: it was restored, or its close failed");
    }
    return not_converted(false);
  }

  Ending ending_of_downgrade(size_t new_ones) {
    const size_t done = state_.call->done.total(), read = state_.call->read.value_or(RouterCounts()).total();
    if (new_ones > 0) {
      if (done > 0) {
        contradict("the log says that " + std::to_string(done) + " records were converted, but the store has " +
                   std::to_string(new_ones) +
                   " in the new layout: its close failed (see the system log), or it was "
                   "restored");
      }
      return not_converted(true);
    }
    if (state_.call->failure_count > 0)
      return partly(std::to_string(state_.call->failure_count) + " failures in the log");
    if (counts_.routers() < read) {
      return partly("the store has " + std::to_string(counts_.routers()) + " records, but the log says that " +
                    std::to_string(read) + " were read");
    }
    return {Reason::downgraded, ""};
  }

  void contradict(const std::string& text) {
    state_.contradictions.push_back(text);
    state_.next = "vrrpconvert check " + quoted_for_shell(store_);
  }

  const RecordCounts& counts_;
  const std::string& store_;
  DeviceState& state_;
};

// Compares a store that was configured again with its backup or snapshot.
void compare(const fs::path& root, const Store& store, Device& device) {
  try {
    const fs::path file = backup_to_compare(device.report.store, {.root = root});
    if (file.empty()) return;
    device.against = file;
    device.differences = names_of_differences(Store(file), store, {.ignore_layout = true, .fields_max = 3});
  } catch (const Error&) {
    device.against.clear();  // vrrpconvert verify says why
  }
}

Ending examine(const fs::path& store_file, const std::string& given_root, Device& device) {
  device.report.store = store_file;
  DeviceState& state = device.state.emplace();
  const fs::path root = root_of(store_file, given_root);
  find_call(store_file, root, state);
  for (const fs::path& file : unfinished_files_in(store_file.parent_path())) state.unfinished_files.push_back(file);
  const Store store(store_file);
  device.report.summary.counts = count_records(store);
  std::vector<fs::path> files = backups_of(store_file);
  for (const fs::path& snapshot : snapshots_in(root / "tmp")) files.push_back(snapshot);
  state.files = readable_backups(files, store);
  const Ending ending = Conclusion(device, state).ending();
  if (ending.reason == Reason::configured) compare(root, store, device);
  if (!device.differences.empty()) state.next = "vrrpconvert verify " + quoted_for_shell(store_file.parent_path());
  return ending;
}

}  // namespace

void to_json(Json& json, const DeviceState& state) {
  json = {{"files", state.files},        {"unfinished_files", state.unfinished_files}, {"log", or_null(state.log)},
          {"call", or_null(state.call)}, {"contradictions", state.contradictions},     {"next", or_null(state.next)}};
}

std::vector<Device> examine_states(const std::vector<Input>& inputs, const std::string& root) {
  Progress progress("Devices", inputs.size());
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    progress.show(devices.size());
    devices.push_back(device_without_report(input.name, input.ending));
    if (input.file.empty()) continue;
    Device& device = devices.back();
    try {
      device.report.ending = examine(input.file, root, device);
    } catch (const Error& error) {
      // A change of another program that was not finished.
      const bool is_unfinished = error.reason == Reason::untrusted;
      device.report.ending = {is_unfinished ? Reason::unfinished : error.reason, error.ending().problem};
    }
  }
  return devices;
}

}  // namespace vrrpconvert
