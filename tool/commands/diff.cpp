#include <cstring>
#include <iostream>

#include "tool/commands/commands.h"
#include "tool/store/difference.h"

namespace vrrpconvert {
namespace {

void for_each_shown(const Store& a, const Store& b, const View& view,
                    const std::function<void(const Difference&)>& visit) {
  for_each_difference(a, b, [&](const Difference& difference) {
    if (view.ignore_layout && difference.is_change() && field_changes(difference, view).empty()) return;
    visit(difference);
  });
}

// One walk for each list, so that none is kept.
bool diff_as_json(const Store& a, const Store& b, const DiffOptions& options) {
  bool differ = false;
  const View view = {options.reveal, options.ignore_layout};
  JsonWriter& json = options.json->begin();
  json.member("a", options.a);
  json.member("b", options.b);
  for (const char* list : {"added", "removed", "changed"}) {
    json.key(list);
    json.begin_list();
    for_each_shown(a, b, view, [&](const Difference& difference) {
      if (strcmp(difference.name(), list) != 0) return;
      write_difference(json, difference, view);
      differ = true;
    });
    json.end();
  }
  json.end();
  return differ;
}

bool diff_as_text(const Store& a, const Store& b, const DiffOptions& options) {
  bool differ = false;
  const View view = {options.reveal, options.ignore_layout};
  for_each_shown(a, b, view, [&](const Difference& difference) {
    print_difference(difference, view);
    differ = true;
  });
  if (!differ) std::cout << "No difference.\n";
  return differ;
}

}  // namespace

Exit diff(const DiffOptions& options) {
  std::error_code error;
  if (std::filesystem::equivalent(options.a, options.b, error)) {
    throw Error(exit_usage, options.a + " and " + options.b + " are the same file; name two stores");
  }
  const Store a(options.a), b(options.b);
  const bool differ = options.json != nullptr ? diff_as_json(a, b, options) : diff_as_text(a, b, options);
  return differ ? exit_found : exit_done;
}

}  // namespace vrrpconvert
