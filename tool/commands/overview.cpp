#include "tool/commands/overview.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <optional>

#include "tool/fleet/page.h"
#include "tool/support/output_file.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

using Row = std::vector<std::string>;

// Returns the counts and the first difference: "changed 3, removed 1: VR 1 ipv4 on 0x100000a (prio 200 -> 210)".
std::string text_of_first(const NamesByWord& differences) {
  const std::string counts = text_of_counts(differences);
  return differences.empty() ? counts : counts + ": " + differences.begin()->second.first.front();
}

std::vector<Row> rows_of(const Fleet& fleet) {
  std::vector<Row> rows = {{"device", "records", "verdict", fleet.is_verified ? "differences" : "would be lost",
                            fleet.is_verified ? "compared with" : "would fail", "problem"}};
  for (const Device& device : fleet.devices) {
    const Summary& summary = device.report.summary;
    rows.push_back({printable(device.name), std::to_string(summary.counts.total()), printable(device.verdict()),
                    printable(fleet.is_verified ? text_of_first(device.differences) : text_of_counts(summary.lost)),
                    fleet.is_verified ? printable(std::filesystem::path(device.against).filename())
                                      : std::to_string(summary.failure_count),
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

}  // namespace

void add_overview_options(Command& command, OverviewOptions& options, const char* paths_help) {
  command.add_operands("PATH", options.paths, paths_help);
  command.add_text("--expect", "FILE", options.expected,
                   "Report each device name in this file that is not found (one name per line)");
  command.add_text("--html", "FILE", options.html, "Write the overview as one HTML page to this new file");
  command.add_flag("--summary", options.summary, "Omit devices without problems; the totals include them");
  command.add_text("--verdict", "WORD", options.verdict, "Show only devices with this verdict");
  command.add_interfaces();
  command.add_json(options.json);
}

Exit show_overview(const OverviewOptions& options, const std::vector<std::string>& accepted,
                   const std::function<Fleet()>& make) {
  const std::string verdict = options.verdict.empty() ? "" : parse_verdict(options.verdict);
  std::optional<OutputFile> page;
  if (!options.html.empty()) page.emplace(options.html);
  Fleet fleet = make();
  complete(fleet, accepted);
  std::erase_if(fleet.devices, [&](const Device& device) {
    const bool is_other = !verdict.empty() && device.verdict() != verdict;
    return is_other || (options.summary && device.rank() >= Rank::accepted);
  });
  if (page) {
    Json report = fleet;
    report["exit"] = fleet.ending.exit();
    page->write(page_of(report));
    page->keep();
  }
  if (options.json != nullptr) {
    options.json->print(fleet, fleet.ending);
  } else {
    constexpr size_t screen = 20;  // rows after which the decision is out of sight
    std::cout << styled_decision(fleet.decision) << '\n';
    if (!fleet.devices.empty()) print_table(rows_of(fleet));
    print_totals(fleet.totals);
    if (fleet.devices.size() > screen) std::cout << styled_decision(fleet.decision) << '\n';
  }
  return fleet.ending.exit();
}

}  // namespace vrrpconvert
