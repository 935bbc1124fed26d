// One device of a fleet: what the dry run of a conversion reported of its store.
#pragma once

#include <istream>
#include <set>
#include <string>

#include "tool/support/error.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

// Strings that a report holds may come from another machine: they are escaped where they are shown.
struct Device {
  std::string device, store;
  std::string verdict;  // "damaged", "in use", "would fail", "contradiction", "loss", "accepted", "clean", ...
  size_t records = 0, changes = 0;
  NamesByWord lost, accepted, failing;
  NameList added;
  size_t failures = 0;
  std::string problem, reason;
  unsigned exit = exit_bad_input;  // of the dry run

  std::string from, to;  // the releases; empty if there is no report of them

  JSON_MEMBERS(device, store, verdict, records, changes, lost, accepted, failing, added, failures, problem, reason,
               exit)

  // Ends its examination for another reason than the report's.
  void fail(Exit status, const std::string& word, const std::string& message);

  // Sets the verdict.
  void judge();

  // 0 for the worst: devices are shown in this order.
  int rank() const;
};

Device device_without_report(const std::string& name, const std::string& reason, const std::string& problem);

// Reads the report of `convert --dry-run --json`, with or without its lists. Losses of `accepted` fields are no reason
// to refuse. Text that is no such report is a device whose reason is "bad_report".
Device device_of_report(const std::string& name, std::istream& report, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
