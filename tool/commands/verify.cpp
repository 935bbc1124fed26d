#include "tool/fleet/verify.h"

#include <iostream>

#include "tool/commands/overview.h"
#include "tool/fleet/search.h"
#include "tool/store/difference.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

struct VerifyCommandOptions {
  OverviewOptions overview{};
  VerifyOptions verify{};
};

// Prints the records and fields of one device that differ.
void print_differences(const Device& device) {
  const Store backup(device.against), store(device.report.store);
  for_each_shown(backup, store, {.ignore_layout = true, .content = true}, [](const Difference& difference) {
    std::cout << text_of(difference, {.ignore_layout = true, .content = true});
  });
}

Exit verify(const VerifyCommandOptions& options) {
  const auto inputs = find_inputs(options.overview.paths, InputKind::stores, options.overview.expected);
  std::vector<Device> devices;
  const Exit exit = show_overview(options.overview, {}, [&] {
    devices = verify_stores(inputs, options.verify);
    return Fleet{"", "", devices, true};
  });
  const bool is_shown = options.overview.json == nullptr && !options.overview.summary;
  if (is_shown && devices.size() == 1 && !devices[0].differences.empty()) print_differences(devices[0]);
  return exit;
}

}  // namespace

void add_verify(CLI::App& app, Choice& choice) {
  Command command(app, choice, "verify", "Compare stores with their backups, after the configuration was entered again",
                  "vrrpconvert verify /flash");
  const auto options = std::make_shared<VerifyCommandOptions>();
  run_with(command, options, verify, Effect::reads);
  add_overview_options(command, options->overview,
                       "Compare the stores (vrrp-cfg_runtime_config) in and below these directories");
  command.add_text("--against", "FILE", options->verify.against,
                   "Compare with this backup, or with the one next to each store whose name matches this pattern");
  command.add_text(
      "--root", "DIR", options->verify.root,
      "Without a backup, use the snapshot in tmp in this directory (default: the one above each store with tmp)");
}

}  // namespace vrrpconvert
