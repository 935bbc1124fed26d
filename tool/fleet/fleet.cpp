#include "tool/fleet/fleet.h"

#include <algorithm>
#include <tuple>

namespace vrrpconvert {
namespace {

void take_releases(Fleet& fleet) {
  for (Device& device : fleet.devices) {
    const std::string from = device.report.from, to = device.report.to;
    if (from.empty()) continue;
    if (fleet.from.empty()) std::tie(fleet.from, fleet.to) = std::tie(from, to);
    if (from == fleet.from && to == fleet.to) continue;
    std::string problem = "its report is of ";
    problem.append(from).append(" to ").append(to).append(", another one of ").append(fleet.from);
    problem.append(" to ").append(fleet.to);
    device = device_without_report(device.name, "bad_report", problem);  // its figures are not about this change
  }
}

Totals totals_of(const std::vector<Device>& devices) {
  Totals totals;
  totals.devices = devices.size();
  for (const Device& device : devices) {
    ++totals.verdicts[device.verdict];
    for (const auto& [field, names] : device.report.summary.lost) {
      ++totals.lost[field].devices;
      totals.lost[field].records += names.records;
    }
  }
  return totals;
}

}  // namespace

Fleet fleet_of(const std::string& from, const std::string& to, std::vector<Device> devices) {
  Fleet fleet = {from, to, std::move(devices), {}};
  take_releases(fleet);
  for (Device& device : fleet.devices) device.judge();
  std::sort(fleet.devices.begin(), fleet.devices.end(),
            [](const Device& a, const Device& b) { return std::pair(a.rank(), a.name) < std::pair(b.rank(), b.name); });
  fleet.totals = totals_of(fleet.devices);
  if (!fleet.devices.empty()) {
    const Device& worst = fleet.devices.front();
    fleet.exit = worst.rank() == 0 ? static_cast<unsigned>(exit_bad_input) : worst.report.exit;
  }
  return fleet;
}

}  // namespace vrrpconvert
