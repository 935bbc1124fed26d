#include <iostream>

#include "tool/commands/overview.h"
#include "tool/fleet/search.h"
#include "tool/fleet/state.h"
#include "tool/store/paths.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

struct StatusOptions {
  OverviewOptions overview{};
  std::string root{};
};

// Prints the state of one device, its evidence, and the next step.
void print_state(const Device& device) {
  const auto print_line = [](const char* label, const std::string& text) {
    if (!text.empty()) std::cout << label << printable(text) << '\n';
  };
  const Ending& ending = device.report.ending;
  const std::string answer = printable(device.name) + ": " + device.verdict();
  std::cout << styled(ending.is_good() ? Style::green : Style::red, answer)
            << (ending.problem.empty() ? "" : ": " + printable(ending.problem)) << '\n';
  if (!device.state) return;
  const Evidence& state = *device.state;
  print_line("Store: ", device.report.store + ": " + device.report.summary.counts.text());
  if (!device.against.empty()) {
    const std::string counts = text_of_counts(device.differences);
    print_line("Compared with ", device.against + ": " + (counts.empty() ? "identical" : counts));
  }
  for (const Backup& file : state.files) {
    print_line("File: ",
               file.text() + (file.lacking_count == 0 ? ""
                                                      : "; the store does not have " +
                                                            std::to_string(file.lacking_count) + " of these records"));
  }
  for (const std::string& file : state.unreadable_files) print_line("Cannot read: ", file);
  for (const std::string& file : state.unfinished_files) print_line(unfinished_file_text, file);
  if (state.call)
    print_line("Log: ", state.log + ": " + state.call->time + ": " + state.call->title() + ": " + state.call->result());
  if (!state.call) print_line("Log: ", state.log.empty() ? "none" : state.log + ": no conversion of this store");
  for (const std::string& text : state.contradictions) print_line("Contradiction, the store counts: ", text);
  print_line("Next: ", state.next);
}

Exit show_status(const StatusOptions& options) {
  const auto inputs = find_inputs(options.overview.paths, InputKind::stores, options.overview.expected);
  const auto make = [&] { return Fleet{"", "", examine_states(inputs, options.root), false, true}; };
  return show_overview(options.overview, {}, make, print_state);
}

}  // namespace

void add_status(CLI::App& app, Choice& choice) {
  Command command(app, choice, "status",
                  "Tell what a conversion by the device itself did, from its store, files and log",
                  "vrrpconvert status /flash");
  const auto options = std::make_shared<StatusOptions>();
  run_with(command, options, show_status, Effect::reads);
  add_overview_options(command, options->overview,
                       "Examine the stores (vrrp-cfg_runtime_config) in and below these directories");
  command.add_text("--root", "DIR", options->root,
                   "Use this directory as the device's root (default: the one above each store with tmp or bootflash)");
}

}  // namespace vrrpconvert
