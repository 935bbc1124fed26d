#include <iostream>

#include "tool/commands/commands.h"
#include "tool/store/files.h"
#include "tool/store/record_counts.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct RestoreOptions {
  std::string copy;
  std::string store;
  bool backup = true;
  JsonReport* json = nullptr;
};

struct Restored {
  RecordCounts counts;               // of the copy
  std::string replaced = "nothing";  // what had its place
  fs::path kept;                     // the name of that now, if it has one
};

// The records of what was replaced, which may be no intact store.
std::string text_of_kept(const fs::path& kept) {
  try {
    return count_records(Store(kept, no_wait)).text();
  } catch (const Error& error) {
    return error.reason == "damaged" ? "a damaged store" : "a store that cannot be opened";
  }
}

Restored restore_store(const RestoreOptions& options) {
  Restored restored;
  const Store copy(options.copy);  // opening checks every record
  // Held until it is replaced: a process that waits for it then gets the new one.
  const bool was_there = is_taken(options.store);
  const std::unique_ptr<Store> held = Store::open_to_replace(options.store);
  restored.counts = count_records(copy);
  if (held != nullptr) restored.replaced = count_records(*held).text();
  if (held == nullptr && was_there) restored.replaced = "a damaged store";
  const bool is_same = held != nullptr && held->digest() == copy.digest();
  end_if_interrupted();
  ignore_interrupts();  // from here on the outcome has to be reported
  restored.kept = copy.put(options.store, options.backup && !is_same ? Existing::kept : Existing::lost);
  if (held == nullptr && !restored.kept.empty()) restored.replaced = text_of_kept(restored.kept);
  return restored;
}

Exit restore(const RestoreOptions& options) {
  std::error_code error;
  if (fs::equivalent(options.copy, options.store, error)) {
    throw Error(exit_usage, options.copy + " and " + options.store + " are the same file; name a copy and the store");
  }
  const Restored restored = restore_store(options);
  if (options.json != nullptr) {
    options.json->print({{"store", options.store},
                         {"copy", options.copy},
                         {"summary", restored.counts},
                         {"replaced", restored.replaced},
                         {"kept", or_null(restored.kept)}});
    return exit_done;
  }
  std::cout << printable(options.store) << ": restored from " << printable(options.copy) << ": "
            << restored.counts.text() << '\n'
            << "Replaced: " << restored.replaced;
  if (!restored.kept.empty()) std::cout << "; kept as " << printable(restored.kept);
  std::cout << '\n';
  return exit_done;
}

}  // namespace

void add_restore(CLI::App& app, Choice& choice) {
  Command command(app, choice, "restore", "Put a copy or a snapshot of a store back in its place, in one step",
                  "vrrpconvert restore /tmp/vrrp-pss vrrp-cfg_runtime_config");
  const auto options = std::make_shared<RestoreOptions>();
  run_with(command, options, restore, Effect::changes);
  command.add_operand("COPY", options->copy, "The copy or snapshot; it is checked first, and stays");
  command.add_operand("STORE", options->store, "The store that it replaces");
  command.add_flag("--no-backup", options->backup, "Keep nothing of what it replaces", false);
  command.add_json(options->json);
}

}  // namespace vrrpconvert
