// A device of a fleet, with the report of its dry run.
#pragma once

#include <istream>
#include <set>
#include <string>

#include "tool/conversion/report.h"

namespace vrrpconvert {

// Ranks, worst first. Devices are sorted by rank, and the worst rank determines the exit status.
enum class Rank { not_examined, in_use, would_fail, loss, accepted, clean };

// Strings of a report may be from another machine, so they are escaped when they are printed.
struct Device {
  std::string name;
  ConversionReport report{};
  NamesByWord differences{};  // from its backup: records, by "added", "changed" and "removed"
  std::string verdict{};      // "damaged", "in use", "would fail", "mismatch", "loss", "accepted", "clean", ...

  // Replaces the ending of the report.
  void fail(Exit status, const std::string& word, const std::string& message);

  // Sets the verdict.
  void judge();

  Rank rank() const;
};

void to_json(Json& json, const Device& device);

Device device_without_report(const std::string& name, const std::string& reason, const std::string& problem);

// Reads a report of `convert --dry-run --json`, with or without its lists. Losses of `accepted` fields do not refuse
// the conversion. If the text is not such a report, the reason of the device is "bad_report".
Device device_of_report(const std::string& name, std::istream& stream, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
