#include "tool/commands/overview.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <optional>

#include "tool/fleet/page.h"
#include "tool/support/output_file.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

constexpr size_t name_max = 24;  // columns for device names; a longer name moves the rest of its line

// Returns the first difference: "VR 1 ipv4 on 0x100000a (prio 200 -> 210) and 3 more".
std::string text_of_first(const NamesByWord& differences) {
  size_t count = 0;
  for (const auto& [word, names] : differences) count += names.count;
  const auto& [word, names] = *differences.begin();
  const std::string first = names.first.front() + (word == "changed" ? "" : " " + word);
  return count == 1 ? first : first + " and " + std::to_string(count - 1) + " more";
}

// Returns what the operator has to know about a device: its problem, or else its differences or losses.
std::string details_of(const Device& device) {
  const Summary& summary = device.report.summary;
  if (!device.report.ending.problem.empty()) return device.report.ending.problem;
  if (!device.differences.empty()) return text_of_first(device.differences);
  return text_of_counts(summary.failing.empty() ? summary.lost : summary.failing);
}

// Returns the file that a store was compared with, without the name of the store: "from-4.1-2.2".
std::string short_name(const Device& device) {
  const std::string file = std::filesystem::path(device.against).filename();
  const std::string store = std::filesystem::path(device.report.store).filename().string() + '.';
  return file.starts_with(store) ? file.substr(store.size()) : file;
}

// Prints one line per device. A line that is wider than the terminal, or 80 columns, ends in "...": the totals and
// --json have all of it.
void print_table(const Fleet& fleet) {
  std::vector<std::array<std::string, 4>> rows = {
      {"device", fleet.is_status ? "state" : "verdict", fleet.is_verified ? "backup" : "records", "details"}};
  for (const Device& device : fleet.devices) {
    const std::string records = std::to_string(device.report.summary.counts.total());
    rows.push_back({printable(device.name), device.verdict(),
                    fleet.is_verified ? printable(short_name(device)) : records, printable(details_of(device))});
  }
  std::array<size_t, 3> widths = {};
  for (const auto& row : rows) {
    for (size_t i = 0; i < widths.size(); ++i) {
      if (i > 0 || row[i].size() <= name_max) widths[i] = std::max(widths[i], row[i].size());
    }
  }
  const size_t columns = terminal_width() == 0 ? 80 : terminal_width();
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < widths.size(); ++i) {
      line.append(row[i]).append(widths[i] - std::min(widths[i], row[i].size()) + 2, ' ');
    }
    line += shortened(row.back(), std::max(columns, line.size() + 20) - line.size());
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << (&row == &rows[0] ? styled(Style::bold, line) : line) << '\n';
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
  if (!totals.problems.empty()) std::cout << "Problems:\n";
  for (const auto& [problem, devices] : totals.problems) {
    std::cout << "  " << printable(problem) << "\n    on " << devices.count
              << (devices.count == 1 ? " device: " : " devices: ") << printable(devices.text()) << '\n';
  }
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
                   const std::function<Fleet()>& make, const std::function<void(const Device&)>& print_only_device) {
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
  } else if (print_only_device && fleet.totals.device_count == 1 && !fleet.devices.empty()) {
    print_only_device(fleet.devices.front());
  } else {
    constexpr size_t screen = 20;  // rows after which the decision is out of sight
    std::cout << styled_decision(fleet.decision) << '\n';
    if (!fleet.devices.empty()) print_table(fleet);
    print_totals(fleet.totals);
    if (fleet.devices.size() > screen) std::cout << styled_decision(fleet.decision) << '\n';
  }
  return fleet.ending.exit();
}

}  // namespace vrrpconvert
