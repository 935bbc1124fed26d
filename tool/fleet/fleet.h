// A fleet: its devices, the worst first, and their totals. Its members are those of the JSON object.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tool/fleet/device.h"

namespace vrrpconvert {

struct WordTotal {
  size_t devices = 0, records = 0;
  std::string source{};  // of an accepted loss: "--accept-loss" of the overview, or "reports"

  JSON_MEMBERS(devices, records, source)
};

struct Totals {
  size_t devices = 0;
  std::map<std::string, size_t> verdicts;
  std::map<std::string, WordTotal> lost, accepted, defaults, failing, differences;  // by field, reason or change

  JSON_MEMBERS(devices, verdicts, lost, accepted, defaults, failing, differences)
};

struct Fleet {
  std::string from, to;  // empty if no report has them
  std::vector<Device> devices;
  bool is_verified = false;    // compared with the backups, not converted in dry runs
  std::string tool{}, made{};  // the version of the tool, and the time in UTC
  std::string decision{};
  Totals totals{};
  unsigned exit = exit_done;  // that of the worst device

  JSON_MEMBERS(from, to, is_verified, tool, made, decision, devices, totals, exit)
};

// Completes a fleet of which only the first four members are set. Without releases they are those of the first report
// that has them; a device with a report of others is a bad one. `accepted` are the losses that the overview accepts.
void complete(Fleet& fleet, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
