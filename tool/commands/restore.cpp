#include <iostream>

#include "tool/commands/commands.h"
#include "tool/conversion/backup.h"
#include "tool/conversion/conversion.h"
#include "tool/store/difference.h"
#include "tool/store/paths.h"
#include "tool/store/record_counts.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct RestoreOptions {
  std::string backup;
  std::string store;
  bool no_backup = false;
  bool force = false;
  bool is_dry_run = false;
  JsonReport* json = nullptr;
};

struct Restored {
  RecordCounts counts;               // in the backup
  std::string replaced = "nothing";  // records of the replaced store
  fs::path kept{};                   // path to which the replaced store was renamed, or empty
  NamesByWord differences{};         // in a dry run: records of an intact store that would change
};

std::string text_of_unreadable(const Error& error) {
  return error.reason == Reason::damaged ? "a damaged store" : "a store that cannot be opened";
}

// Describes the records of a replaced store, which may be damaged.
std::string text_of_kept(const fs::path& kept) {
  try {
    return count_records(Store(kept, no_wait)).text();
  } catch (const Error& error) {
    return text_of_unreadable(error);
  }
}

// Reads working copies only; writes and locks nothing.
Restored examine(const RestoreOptions& options) {
  const Store backup(options.backup);
  (void)existing_directory(fs::path(options.store).parent_path());
  Restored restored = {.counts = count_records(backup)};
  std::unique_ptr<Store> current;
  try {
    current = std::make_unique<Store>(options.store);
    restored.replaced = count_records(*current).text();
  } catch (const Error& error) {
    const bool is_missing = error.reason == Reason::missing;
    if (!is_missing && error.reason != Reason::damaged && error.reason != Reason::untrusted) throw;
    if (!is_missing) restored.replaced = text_of_unreadable(error);
  }
  if (current == nullptr) current = std::make_unique<Store>(-1, options.store);
  restored.differences = names_of_differences(*current, backup, {});
  return restored;
}

Restored restore_store(const RestoreOptions& options) {
  const Store backup(options.backup);  // verifies every record
  Restored restored = {.counts = count_records(backup)};
  // Hold the lock until the rename, so that a process waiting for the old store opens the new one.
  const bool was_there = path_exists(options.store);
  const std::unique_ptr<Store> held = Store::open_to_replace(options.store);
  if (held != nullptr) restored.replaced = count_records(*held).text();
  if (held == nullptr && was_there) restored.replaced = "a damaged store";
  const bool is_same = held != nullptr && held->digest() == backup.digest();
  ignore_interrupts();
  restored.kept = backup.put(options.store, options.no_backup || is_same ? Replaced::removed : Replaced::kept);
  if (held == nullptr && !restored.kept.empty()) {
    restored.replaced = was_there ? text_of_kept(restored.kept) : "sidecar files without a store";
  }
  return restored;
}

void print_text(const Restored& restored, const RestoreOptions& options) {
  const bool is_new = restored.replaced == "nothing", would = options.is_dry_run;
  std::cout << printable(options.store) << (would ? ": would be " : ": ") << (is_new ? "created" : "restored")
            << " from " << printable(options.backup) << ": " << restored.counts.text() << '\n'
            << (would ? "Would be replaced: " : "Replaced: ") << restored.replaced;
  if (!restored.kept.empty()) std::cout << "; renamed to " << printable(restored.kept);
  std::cout << '\n';
  if (!would) return;
  std::cout << (restored.differences.empty() ? "No record would change.\n"
                                             : text_of_lines("Records that would change", restored.differences))
            << "Nothing was changed.\n";
}

Exit restore(const RestoreOptions& options) {
  std::error_code error;
  if (fs::equivalent(options.backup, options.store, error)) {
    throw Error(Reason::usage,
                options.backup + " and " + options.store + " are the same file; use a backup and the store");
  }
  if (!options.force && (has_backup_name(options.store) || is_snapshot_name(options.store))) {
    throw Error(Reason::usage, options.store +
                                   ": has the name of a backup or a snapshot, which would be replaced; "
                                   "give the backup first and the store second, or --force");
  }
  const Restored restored = options.is_dry_run ? examine(options) : restore_store(options);
  if (options.json == nullptr) {
    print_text(restored, options);
    return exit_done;
  }
  Json report = {{"store", options.store},        {"backup", options.backup},       {"counts", restored.counts},
                 {"replaced", restored.replaced}, {"kept", or_null(restored.kept)}, {"dry_run", options.is_dry_run}};
  if (options.is_dry_run) report["differences"] = restored.differences;
  options.json->print(report);
  return exit_done;
}

}  // namespace

void add_restore(CLI::App& app, Choice& choice) {
  Command command(app, choice, "restore", "Replace a store with a backup or a snapshot",
                  "vrrpconvert restore /tmp/vrrp-pss vrrp-cfg_runtime_config");
  const auto options = std::make_shared<RestoreOptions>();
  command.set_run([options] { return restore(*options); },
                  [options] { return options->is_dry_run ? Effect::reads : Effect::changes; });
  command.add_operand("BACKUP", options->backup, "Verify and read this backup or snapshot");
  command.add_operand("STORE", options->store, "Replace or create this store");
  command.add_flag("--no-backup", options->no_backup, "Do not keep the replaced store");
  command.add_flag("--dry-run", options->is_dry_run, "Show the records that would change, and change nothing");
  command.add_flag("--force", options->force, "Also replace a file with the name of a backup or a snapshot");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
