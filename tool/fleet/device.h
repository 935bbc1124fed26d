// A device of a fleet, with the report of its dry run.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/report.h"
#include "tool/fleet/evidence.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Ranks, worst first. Devices are sorted by rank, and the worst rank determines the exit status.
enum class Rank { not_examined, in_use, would_fail, loss, accepted, clean };

// Returns the verdict that the operator means by `word`, which may have underscores as in a reason. Throws Error.
std::string parse_verdict(std::string word);

// Strings of a report may be from another machine, so they are escaped when they are printed.
struct Device {
  std::string name;
  DryRunReport report{};
  std::string against{};            // the backup that the store was compared with
  NamesByWord differences{};        // from that backup: records, by "added", "changed" and "removed"
  std::optional<Evidence> state{};  // only for the command status

  // Sets the ending by the losses that are not in `accepted`: the dry run may have had other permissions.
  void take_permissions(const std::vector<std::string>& accepted);

  // Returns the word of the reason, "clean", or "accepted".
  std::string verdict() const;

  Rank rank() const;
};

void to_json(Json& json, const Device& device);

// Returns a device for each input, with the ending that `examine` returns or throws for its file.
std::vector<Device> examine_each(const std::vector<Input>& inputs,
                                 const std::function<Ending(const std::filesystem::path&, Device&)>& examine);

Device device_without_report(const std::string& name, const Ending& ending);

}  // namespace vrrpconvert
