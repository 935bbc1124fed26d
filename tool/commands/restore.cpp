#include <iostream>

#include "tool/commands/commands.h"
#include "tool/store/record_counts.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

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
    return error.reason == std::string("damaged") ? "a damaged store" : "a store that cannot be opened";
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

}  // namespace

Exit restore(const RestoreOptions& options) {
  std::error_code error;
  if (fs::equivalent(options.copy, options.store, error)) {
    throw Error(exit_usage, options.copy + " and " + options.store + " are the same file; name a copy and the store");
  }
  const Restored restored = restore_store(options);
  if (options.json == nullptr) {
    std::cout << printable(options.store) << ": restored from " << printable(options.copy) << ": "
              << restored.counts.text() << '\n'
              << "Replaced: " << restored.replaced;
    if (!restored.kept.empty()) std::cout << "; kept as " << printable(restored.kept);
    std::cout << '\n';
    return exit_done;
  }
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.member("copy", options.copy);
  json.key("summary");
  restored.counts.write(json);
  json.member("replaced", restored.replaced);
  json.member_or_null("kept", restored.kept.string());
  json.end();
  return exit_done;
}

}  // namespace vrrpconvert
