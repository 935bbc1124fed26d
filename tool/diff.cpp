#include <iostream>
#include <optional>

#include "tool/difference.h"
#include "tool/verbs.h"

namespace vrrpconvert {
namespace {

const char* list_of(const Difference& difference) {
  return difference.is_change() ? "changed" : difference.before ? "removed" : "added";
}

}  // namespace

Exit diff(const DiffOptions& options) {
  set_nonvolatile_root("/");
  std::error_code error;
  if (std::filesystem::equivalent(options.a, options.b, error)) {
    throw Error(exit_usage, options.a + " and " + options.b + " are the same file; name two stores");
  }
  const Store a(options.a), b(options.b);
  Json lists = {{"added", Json::array()}, {"removed", Json::array()}, {"changed", Json::array()}};
  size_t differences = 0;
  for_each_difference(a, b, [&](const Difference& difference) {
    ++differences;
    if (options.json) {
      lists[list_of(difference)].push_back(json_of_difference(difference, options.reveal));
    } else {
      print_difference(difference, options.reveal);
    }
  });
  if (options.json) {
    Json whole = {{"schema", 1}, {"a", options.a}, {"b", options.b}};
    whole.update(lists);
    std::cout << dumped(whole) << '\n';
  } else if (differences == 0) {
    std::cout << "No difference.\n";
  }
  return differences == 0 ? exit_done : exit_found;
}

}  // namespace vrrpconvert
