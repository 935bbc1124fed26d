#include "tool/fleet/verify.h"

#include <fnmatch.h>

#include "tool/conversion/backup.h"
#include "tool/conversion/conversion.h"
#include "tool/fleet/evidence.h"
#include "tool/store/difference.h"
#include "tool/store/paths.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

fs::path chosen_backup(const fs::path& store, const std::string& pattern) {
  if (path_exists(pattern)) return pattern;
  std::vector<fs::path> found = backups_of(store);
  std::erase_if(found,
                [&pattern](const fs::path& file) { return fnmatch(pattern.c_str(), file.filename().c_str(), 0) != 0; });
  if (found.size() == 1) return found.front();
  if (found.empty()) {
    throw Error(Reason::no_backup, "--against: neither the file " + pattern +
                                       " nor a backup next to the store with "
                                       "such a name; a pattern has no directory");
  }
  throw Error(Reason::bad_input, "--against: " + found[0].string() + " and " + found[1].filename().string() +
                                     " match; use a pattern for one backup");
}

// Returns the reason for the counts of a store that was compared with its backup.
Reason reason_of(const RecordCounts& counts, const RecordCounts& backup, bool is_identical) {
  if (counts.routers() == 0 && backup.routers() > 0) {
    return Reason::not_configured;
  }
  for (const auto& [own, other] :
       {std::pair(Version::old_one, Version::new_one), {Version::new_one, Version::old_one}}) {
    const bool has_one_layout = counts.with_layout(own) > 0 && counts.with_layout(other) == 0;
    if (has_one_layout && backup.with_layout(own) > 0 && backup.with_layout(other) == 0) return Reason::not_converted;
  }
  return is_identical ? Reason::identical : Reason::differs;
}

std::string problem_of(Reason reason) {
  if (reason == Reason::not_converted) return "the store still has the layout of the backup";
  return reason == Reason::not_configured ? "the store has no VR configuration and no IP association" : "";
}

Ending compare(const fs::path& store_file, const VerifyOptions& options, Device& device) {
  device.report.store = store_file;
  const Store store(store_file);
  const RecordCounts counts = device.report.summary.counts = count_records(store);
  const fs::path file = backup_to_compare(store_file, options);
  if (file.empty()) return {Reason::no_backup, "no backup next to the store, and no snapshot"};
  device.against = file;
  const Store backup(file);
  device.differences = names_of_differences(backup, store, {.ignore_layout = true, .fields_max = 3});
  const Reason reason = reason_of(counts, count_records(backup), device.differences.empty());
  return {reason, problem_of(reason)};
}

}  // namespace

fs::path backup_to_compare(const fs::path& store, const VerifyOptions& options) {
  if (!options.against.empty()) return chosen_backup(store, options.against);
  fs::path last = last_backup_of(store);
  if (!last.empty()) return last;
  fs::path snapshot = snapshot_below(device_root_of(store, options.root), 1);
  return path_exists(snapshot) ? snapshot : fs::path();
}

std::vector<Device> verify_stores(const std::vector<Input>& inputs, const VerifyOptions& options) {
  return examine_each(inputs,
                      [&options](const fs::path& file, Device& device) { return compare(file, options, device); });
}

}  // namespace vrrpconvert
