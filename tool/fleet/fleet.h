// A fleet: its devices, worst first, and their totals. Its members are the members of the JSON object.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tool/fleet/device.h"

namespace vrrpconvert {

struct WordTotal {
  size_t devices = 0, records = 0;
  std::string source{};  // of an accepted loss: "--accept-loss" or "reports"

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
  bool is_verified = false;    // compared with backups, without dry runs
  std::string tool{}, made{};  // version of the tool, and time in UTC
  std::string decision{};
  Totals totals{};
  unsigned exit = exit_done;  // exit status of the worst device

  JSON_MEMBERS(from, to, is_verified, tool, made, decision, devices, totals, exit)
};

// Completes a fleet whose first four members are set. Takes missing releases from the first report that has them; a
// report for other releases is a bad report. `accepted` are the losses of --accept-loss.
void complete(Fleet& fleet, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
