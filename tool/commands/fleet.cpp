#include "tool/fleet/fleet.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <optional>
#include <thread>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/loss.h"
#include "tool/fleet/page.h"
#include "tool/fleet/saved_reports.h"
#include "tool/fleet/verify.h"
#include "tool/fleet/workers.h"
#include "tool/support/output_file.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

struct FleetOptions {
  std::vector<std::string> paths;
  bool reports = false;               // the paths contain reports, not stores
  bool verify = false;                // compare the stores with their backups
  Request request{.directory = "/"};  // the releases and the permissions
  std::string expected;
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
  std::string html;  // empty for no page
  JsonReport* json = nullptr;
};

using Row = std::vector<std::string>;

std::vector<Row> rows_of(const Fleet& fleet) {
  std::vector<Row> rows = {{"device", "records", "verdict", fleet.is_verified ? "differences" : "would be lost",
                            fleet.is_verified ? "" : "would fail", "problem"}};
  for (const Device& device : fleet.devices) {
    const Summary& summary = device.report.summary;
    rows.push_back({printable(device.name), std::to_string(summary.counts.total()), printable(device.verdict()),
                    printable(text_of_counts(fleet.is_verified ? device.differences : summary.lost)),
                    fleet.is_verified ? "" : std::to_string(summary.failure_count),
                    printable(device.report.ending.problem)});
  }
  return rows;
}

// If the table is wider than the terminal, prints each device as a block. Prints a long name on a separate line, so
// that it does not widen the table.
void print_table(const std::vector<Row>& rows) {
  constexpr size_t name_max = 32;
  std::vector<size_t> widths(rows[0].size());
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0 || row[i].size() <= name_max) widths[i] = std::max(widths[i], row[i].size());
    }
  }
  const size_t width = std::accumulate(widths.begin(), widths.end(), 2 * widths.size());
  const bool is_table = terminal_width() == 0 || width <= terminal_width() + 2;
  for (const Row& row : rows) {
    const bool is_header = &row == &rows[0];
    if (is_header && !is_table) continue;
    const bool breaks = !is_table || row[0].size() > name_max;
    std::string line = row[0] + (breaks ? "\n" : "");
    if (!is_table) line = styled(Style::bold, row[0]) + '\n';
    if (is_table) line.append(breaks ? widths[0] + 2 : widths[0] - row[0].size() + 2, ' ');
    for (size_t i = 1; i < row.size(); ++i) {
      if (is_table) line += row[i] + std::string(widths[i] > 0 ? widths[i] - row[i].size() + 2 : 0, ' ');
      if (!is_table && !row[i].empty()) line += "  " + rows[0][i] + ": " + row[i] + '\n';
    }
    line.erase(line.find_last_not_of(" \n") + 1);
    std::cout << (is_header ? styled(Style::bold, line) : line) << '\n';
  }
}

void print_total(const char* heading, const std::map<std::string, WordTotal>& totals) {
  if (!totals.empty()) std::cout << heading << ":\n";
  for (const auto& [word, total] : totals) {
    std::cout << "  " << std::left << std::setw(27) << printable(word) << std::right << std::setw(8)
              << total.record_count << (total.record_count == 1 ? " record" : " records") << " on "
              << total.device_count << (total.device_count == 1 ? " device" : " devices") << '\n';
  }
}

void print_totals(const Totals& totals) {
  std::cout << '\n' << totals.device_count << (totals.device_count == 1 ? " device:" : " devices:");
  const char* separator = " ";
  for (const auto& [verdict, count] : totals.verdicts) {
    std::cout << separator << count << ' ' << printable(verdict);
    separator = ", ";
  }
  std::cout << '\n';
  print_total(heading_of("lost"), totals.lost);
  print_total(heading_of("accepted"), totals.accepted);
  print_total(heading_of("defaults"), totals.defaults);
  print_total(heading_of("failing"), totals.failing);
  print_total(heading_of("differences"), totals.differences);
}

std::vector<Device> devices_of(const FleetOptions& options) {
  for (const std::string& name : options.request.accepted) require_loss(name);
  const auto find = [&options](InputKind kind) { return find_inputs(options.paths, kind, options.expected); };
  if (options.verify) return verify_stores(find(InputKind::stores));
  if (options.reports) return read_reports(find(InputKind::reports), options.request.accepted);
  const Conversion conversion(options.request);
  return run_dry_runs(conversion, find(InputKind::stores), options.jobs);
}

Exit show_fleet(const FleetOptions& options) {
  std::optional<OutputFile> page;
  if (!options.html.empty()) page.emplace(options.html);
  Fleet fleet = {options.request.from, options.request.to, devices_of(options), options.verify};
  complete(fleet, options.request.accepted);
  if (page) {
    Json report = fleet;
    report["exit"] = fleet.ending.exit();
    page->write(page_of(report));
    page->keep();
  }
  if (options.json != nullptr) {
    options.json->print(fleet, fleet.ending);
  } else {
    std::cout << printable(fleet.decision) << '\n';
    print_table(rows_of(fleet));
    print_totals(fleet.totals);
  }
  return fleet.ending.exit();
}

}  // namespace

void add_fleet(CLI::App& app, Choice& choice) {
  Command command(app, choice, "fleet", "Perform dry runs for many devices, or compare them with their backups",
                  "vrrpconvert fleet devices --from '4.2(1)' --to '4.1(2)' --html overview.html");
  const auto options = std::make_shared<FleetOptions>();
  run_with(command, options, show_fleet, Effect::reads);
  command.add_operands("PATH", options->paths,
                       "Search these directories recursively for stores (vrrp-cfg_runtime_config), one per device");
  command.add_flag("--reports", options->reports,
                   "Read saved reports (*.json) of convert --dry-run --json below PATH instead of stores");
  command.add_text("--from", "RELEASE", options->request.from, "Convert from this release, for example 4.2(1)");
  command.add_text("--to", "RELEASE", options->request.to, "Convert to this release");
  command.exclude("--from", "--reports");
  command.exclude("--to", "--reports");
  command.add_flag("--verify", options->verify,
                   "Compare each store with its last backup, in the fields that both layouts have");
  command.exclude("--verify", "--from");
  command.exclude("--verify", "--to");
  command.exclude("--verify", "--reports");
  command.add_text("--expect", "FILE", options->expected,
                   "Report each device name in this file that is not found (one name per line)");
  command.add_accept_loss(options->request.accepted);
  command.exclude("--verify", "--accept-loss");
  command.add_default_value(options->request.defaults);
  command.exclude("--verify", "--default");
  command.exclude("--reports", "--default");
  command.add_number("--jobs", options->jobs, 1024, "Perform dry runs in N processes");
  command.exclude("--jobs", "--reports");
  command.exclude("--verify", "--jobs");
  command.add_text("--html", "FILE", options->html, "Write the overview as one HTML page to this new file");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
