#include <iostream>

#include "tool/commands/commands.h"
#include "tool/store/record_counts.h"

namespace vrrpconvert {

Exit restore(const RestoreOptions& options) {
  std::error_code error;
  if (std::filesystem::equivalent(options.copy, options.store, error)) {
    throw Error(exit_usage, options.copy + " and " + options.store + " are the same file; name a copy and the store");
  }
  const Store copy(options.copy);  // opening checks every record
  Store::check_replaceable(options.store);
  const RecordCounts counts = count_records(copy);
  copy.replace(options.store);
  if (options.json == nullptr) {
    std::cout << options.store << ": restored from " << options.copy << ": " << counts.text() << '\n';
    return exit_done;
  }
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.member("copy", options.copy);
  json.key("summary");
  counts.write(json);
  json.end();
  return exit_done;
}

}  // namespace vrrpconvert
