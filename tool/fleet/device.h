// One device of a fleet, and what the dry run of a conversion reported of its store.
#pragma once

#include <istream>
#include <set>
#include <string>

#include "tool/conversion/report.h"

namespace vrrpconvert {

// Devices are shown in this order, and the first rank of a fleet decides its exit status.
enum class Rank { not_examined, in_use, would_fail, loss, accepted, clean };

// Strings in a report may come from another machine: they are escaped where they are shown.
struct Device {
  std::string name;
  ConversionReport report{};
  NamesByWord differences{};  // from its backup: records, by "added", "changed" and "removed"
  std::string verdict{};      // "damaged", "in use", "would fail", "mismatch", "loss", "accepted", "clean", ...

  // Ends its examination for another reason than the report's.
  void fail(Exit status, const std::string& word, const std::string& message);

  // Sets the verdict.
  void judge();

  Rank rank() const;
};

void to_json(Json& json, const Device& device);

Device device_without_report(const std::string& name, const std::string& reason, const std::string& problem);

// Reads the report of `convert --dry-run --json`, with or without its lists. Losses of `accepted` fields are no reason
// to refuse. Text that is no such report is a device whose reason is "bad_report".
Device device_of_report(const std::string& name, std::istream& stream, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
