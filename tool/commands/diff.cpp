#include <cstring>
#include <iostream>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/store/difference.h"

namespace vrrpconvert {
namespace {

struct DiffOptions {
  std::string a, b;
  View view{.content = true};
  bool only_counts = false;
  JsonReport* json = nullptr;
};

Ending ending_of(bool differ) { return {differ ? Reason::found : Reason::none}; }

// Walk the stores once per list, so that no list is held in memory.
bool diff_as_json(const Store& a, const Store& b, const DiffOptions& options) {
  bool differ = false;
  JsonWriter& json = options.json->begin();
  json.member("a", options.a);
  json.member("b", options.b);
  for (const char* list : {"added", "removed", "changed"}) {
    json.key(list);
    json.begin_list();
    for_each_shown(a, b, options.view, [&](const Difference& difference) {
      if (strcmp(difference.name(), list) != 0) return;
      write_difference(json, difference, options.view);
      differ = true;
    });
    json.end();
  }
  options.json->end(ending_of(differ));
  return differ;
}

bool diff_as_counts(const Store& a, const Store& b, const DiffOptions& options) {
  const NamesByWord names = names_of_differences(a, b, options.view);
  std::cout << (names.empty() ? "No difference." : text_of_counts(names)) << '\n';
  return !names.empty();
}

bool diff_as_text(const Store& a, const Store& b, const DiffOptions& options) {
  if (options.only_counts) return diff_as_counts(a, b, options);
  bool differ = false;
  for_each_shown(a, b, options.view, [&](const Difference& difference) {
    std::cout << text_of(difference, options.view);
    differ = true;
  });
  if (!differ) std::cout << "No difference.\n";
  return differ;
}

Exit diff(const DiffOptions& given) {
  DiffOptions options = given;
  options.a = store_at(given.a);
  options.b = store_at(given.b);
  std::error_code error;
  if (std::filesystem::equivalent(options.a, options.b, error)) {
    throw Error(Reason::usage, options.a + " and " + options.b + " are the same file; use two stores");
  }
  const Store a(options.a), b(options.b);
  const bool differ = options.json != nullptr ? diff_as_json(a, b, options) : diff_as_text(a, b, options);
  return ending_of(differ).exit();
}

}  // namespace

void add_diff(CLI::App& app, Choice& choice) {
  Command command(app, choice, "diff", "Show the records and fields that differ between two stores",
                  "vrrpconvert diff vrrp-cfg_runtime_config.from-4.2-1 vrrp-cfg_runtime_config");
  const auto options = std::make_shared<DiffOptions>();
  run_with(command, options, diff, Effect::reads);
  command.add_operand("A", options->a, "Read this store, or the one in this directory, first");
  command.add_operand("B", options->b, "Compare it with this store");
  command.add_flag("--ignore-layout", options->view.ignore_layout, "Compare only the fields that both layouts have");
  command.add_flag("--stat", options->only_counts, "Print only the number of records that differ");
  command.add_reveal(options->view.reveal);
  command.add_interfaces();
  command.add_json(options->json);
}

}  // namespace vrrpconvert
