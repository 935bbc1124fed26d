#include <iostream>

#include "tool/census.h"
#include "tool/verbs.h"

namespace vrrpconvert {

Exit restore(const RestoreOptions& options) {
  set_nonvolatile_root("/");
  std::error_code error;
  if (std::filesystem::equivalent(options.copy, options.store, error)) {
    throw Error(exit_usage, options.copy + " and " + options.store + " are the same file; name a copy and the store");
  }
  const Store copy(options.copy);  // opening checks every record
  Store::check_replaceable(options.store);
  const Census census = take_census(copy);
  copy.replace(options.store);
  if (options.json) {
    std::cout << dumped({{"schema", 1}, {"store", options.store}, {"copy", options.copy}, {"summary", census.json()}})
              << '\n';
  } else {
    std::cout << options.store << ": restored from " << options.copy << ": " << census.text() << '\n';
  }
  return exit_done;
}

}  // namespace vrrpconvert
