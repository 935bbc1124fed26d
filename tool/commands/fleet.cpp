#include "tool/fleet/fleet.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <optional>
#include <thread>

#include "tool/commands/commands.h"
#include "tool/conversion/release.h"
#include "tool/fleet/dry_runs.h"
#include "tool/fleet/page.h"
#include "tool/support/new_file.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

struct FleetOptions {
  std::vector<std::string> paths;
  bool reports = false;  // the paths hold reports, not stores
  std::string from, to;
  std::set<std::string> accepted;
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
  std::string html;  // empty: none
  JsonReport* json = nullptr;
};

// "bfd_peer_ip 2, forwarding_state 3"
std::string text_of_lost(const Device& device) {
  std::string text;
  for (const auto& [field, names] : device.report.summary.lost) {
    text += (text.empty() ? "" : ", ") + field + " " + std::to_string(names.records);
  }
  return printable(text);
}

void print_table(const Fleet& fleet) {
  std::vector<std::vector<std::string>> rows = {
      {"device", "records", "verdict", "would be lost", "would fail", "problem"}};
  for (const Device& device : fleet.devices) {
    const Summary& summary = device.report.summary;
    rows.push_back({printable(device.name), std::to_string(summary.records.total()), printable(device.verdict),
                    text_of_lost(device), std::to_string(summary.failures), printable(device.report.problem)});
  }
  std::vector<size_t> widths(rows[0].size());
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << (&row == &rows[0] ? styled(Style::bold, line) : line) << '\n';
  }
}

void print_totals(const Totals& totals) {
  std::cout << '\n' << totals.devices << (totals.devices == 1 ? " device:" : " devices:");
  const char* separator = " ";
  for (const auto& [verdict, count] : totals.verdicts) {
    std::cout << separator << count << ' ' << printable(verdict);
    separator = ", ";
  }
  std::cout << '\n';
  for (const auto& [field, lost] : totals.lost) {
    std::cout << "  " << std::left << std::setw(27) << printable(field) << std::right << std::setw(8) << lost.records
              << (lost.records == 1 ? " record" : " records") << " on " << lost.devices
              << (lost.devices == 1 ? " device" : " devices") << '\n';
  }
}

Exit show_fleet(const FleetOptions& options) {
  if (!options.reports) {
    parse_release("--from", options.from);
    parse_release("--to", options.to);
  }
  std::optional<NewFile> page;
  if (!options.html.empty()) page.emplace(options.html);
  const auto inputs = find_inputs(options.paths, options.reports ? InputKind::reports : InputKind::stores);
  const Fleet fleet =
      fleet_of(options.from, options.to,
               options.reports ? read_reports(inputs, options.accepted)
                               : run_dry_runs({options.from, options.to, options.accepted, options.jobs}, inputs));
  if (page) {
    page->write(page_of(fleet));
    page->keep();
  }
  if (options.json != nullptr) {
    options.json->print(fleet);
  } else {
    print_table(fleet);
    print_totals(fleet.totals);
  }
  return static_cast<Exit>(fleet.exit);
}

}  // namespace

void add_fleet(CLI::App& app, Choice& choice) {
  Command command(app, choice, "fleet", "Show what a conversion would mean for many devices: a dry run of each",
                  "vrrpconvert fleet devices --from '4.2(1)' --to '4.1(2)' --html overview.html");
  const auto options = std::make_shared<FleetOptions>();
  run_with(command, options, show_fleet, Effect::reads);
  command.add_operands("PATH", options->paths,
                       "Directories that hold a vrrp-cfg_runtime_config a device, at any depth");
  command.add_flag("--reports", options->reports, "Read reports of convert --dry-run --json below PATH, no stores");
  command.add_text("--from", options->from, "The release that wrote the stores, as 4.2(1)");
  command.add_text("--to", options->to, "The release that will read them");
  command.exclude("--from", "--reports");
  command.exclude("--to", "--reports");
  command.add_accept_loss(options->accepted);
  command.add_number("--jobs", options->jobs, 1024, "How many at a time");
  command.add_text("--html", options->html, "Write the overview to this new file, one page for a change ticket");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
