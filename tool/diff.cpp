#include <iostream>

#include "tool/difference.h"
#include "tool/json_report.h"
#include "tool/verbs.h"

namespace vrrpconvert {
namespace {

// One walk for each list, so that none is kept.
bool differ_as_json(const Store& a, const Store& b, const DiffOptions& options) {
  bool differ = false;
  JsonReport report;
  report.add("a", options.a);
  report.add("b", options.b);
  for (const std::string list : {"added", "removed", "changed"}) {
    report.begin_list(list.c_str());
    for_each_difference(a, b, [&](const Difference& difference) {
      if (change_of(difference) != list) return;
      report.add_item(json_of_difference(difference, options.reveal));
      differ = true;
    });
    report.end_list();
  }
  report.end();
  return differ;
}

bool differ_as_text(const Store& a, const Store& b, const DiffOptions& options) {
  bool differ = false;
  for_each_difference(a, b, [&](const Difference& difference) {
    print_difference(difference, options.reveal);
    differ = true;
  });
  if (!differ) std::cout << "No difference.\n";
  return differ;
}

}  // namespace

Exit diff(const DiffOptions& options) {
  set_nonvolatile_root("/");
  std::error_code error;
  if (std::filesystem::equivalent(options.a, options.b, error)) {
    throw Error(exit_usage, options.a + " and " + options.b + " are the same file; name two stores");
  }
  const Store a(options.a), b(options.b);
  const bool differ = options.json ? differ_as_json(a, b, options) : differ_as_text(a, b, options);
  return differ ? exit_found : exit_done;
}

}  // namespace vrrpconvert
