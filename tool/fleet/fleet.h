// A fleet: its devices, worst first, and their totals. Its members, and those of the ending, are the members of the
// JSON object.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tool/fleet/device.h"

namespace vrrpconvert {

struct WordTotal {
  size_t device_count = 0, record_count = 0;
  std::string source{};  // of an accepted loss: "--accept-loss" or "reports"

  JSON_MEMBERS(device_count, record_count, source)
};

// Numbers of devices by verdict, in the order in which verdicts are added. JSON: an object.
class VerdictCounts {
 public:
  void add(const std::string& verdict);
  size_t of(const std::string& verdict) const;

  auto begin() const { return counts_.begin(); }
  auto end() const { return counts_.end(); }

 private:
  std::vector<std::pair<std::string, size_t>> counts_;
};
void to_json(Json& json, const VerdictCounts& counts);

struct Totals {
  size_t device_count = 0;
  VerdictCounts verdicts;                                                           // worst first
  std::map<std::string, WordTotal> lost, accepted, defaults, failing, differences;  // by field, reason or change
  NamesByWord problems;                                                             // of devices, by text

  JSON_MEMBERS(device_count, verdicts, lost, accepted, defaults, failing, differences, problems)
};

struct Fleet {
  std::string from, to;  // empty if no report has them
  std::vector<Device> devices;
  bool is_verified = false;    // compared with backups, without dry runs
  bool is_status = false;      // with the states of devices, without dry runs
  std::string tool{}, made{};  // version of the tool, and time in UTC
  std::string decision{};
  Totals totals{};
  Ending ending{};  // by the rank of the worst device

  JSON_MEMBERS(from, to, is_verified, is_status, tool, made, decision, devices, totals)
};

// Completes a fleet whose first four members are set. Takes missing releases from the first report that has them; a
// report for other releases is a bad report. `accepted` are the losses of --accept-loss.
void complete(Fleet& fleet, const std::vector<std::string>& accepted);

}  // namespace vrrpconvert
