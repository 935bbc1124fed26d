// A fleet: its devices, the worst first, and their totals. Its members are those of the JSON object.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tool/fleet/device.h"

namespace vrrpconvert {

struct LostTotal {
  size_t devices = 0, records = 0;

  JSON_MEMBERS(devices, records)
};

struct Totals {
  size_t devices = 0;
  std::map<std::string, size_t> verdicts;
  std::map<std::string, LostTotal> lost;  // by field

  JSON_MEMBERS(devices, verdicts, lost)
};

struct Fleet {
  std::string from, to;  // empty if no report has them
  std::vector<Device> devices;
  Totals totals;
  unsigned exit = exit_done;  // that of the worst device

  JSON_MEMBERS(from, to, devices, totals, exit)
};

// Without releases they are those of the first report that has them; a device with a report of others is a bad one.
Fleet fleet_of(const std::string& from, const std::string& to, std::vector<Device> devices);

}  // namespace vrrpconvert
