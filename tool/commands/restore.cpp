#include <iostream>

#include "tool/commands/commands.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct Restored {
  RecordCounts counts;                       // of the copy
  std::string replaced = "a damaged store";  // what stood in its place
  fs::path kept;                             // where that is now, if anywhere
};

Restored restore_store(const RestoreOptions& options) {
  Restored restored;
  const Store copy(options.copy);  // opening checks every record
  // Held until it is replaced: a process that waits for it then gets the new one.
  const std::unique_ptr<Store> held = Store::open_to_replace(options.store);
  const ino_t number = file_number(options.store);  // of the one that is held, which may have come while this waited
  restored.counts = count_records(copy);
  if (held != nullptr) restored.replaced = count_records(*held).text();
  if (number == 0) restored.replaced = "nothing";
  const bool keeps = options.backup && (held == nullptr || held->digest() != copy.digest());
  keeps ? copy.write_copy(options.store) : copy.replace(options.store);
  if (keeps && number != 0) restored.kept = kept_name(options.store, number);
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
    std::cout << options.store << ": restored from " << options.copy << ": " << restored.counts.text() << '\n'
              << "Replaced: " << restored.replaced;
    if (!restored.kept.empty()) std::cout << "; kept as " << restored.kept.string();
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
