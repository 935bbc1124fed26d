// The state of a device after a conversion that its own system manager performed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/backup.h"
#include "tool/trace/call.h"

namespace vrrpconvert {

struct Device;
struct Input;

// The evidence for a state, and the next step.
struct DeviceState {
  std::vector<Backup> files{};  // backups, replaced stores and snapshots
  std::vector<std::string> unfinished_files{};
  std::string log{};                          // the trace log; empty if there is none
  std::optional<Call> call{};                 // the last conversion of this store in the log
  std::vector<std::string> contradictions{};  // between the store and the log; the store counts
  std::string next{};
};
void to_json(Json& json, const DeviceState& state);

// Returns a device per input, with its state. `root` is the directory that is / on the device. If it is empty, a
// device's root is the directory of its store, or the one above, that contains tmp or bootflash.
std::vector<Device> examine_states(const std::vector<Input>& inputs, const std::string& root);

}  // namespace vrrpconvert
