// The dry runs of a fleet, each in a new process, and saved reports of dry runs.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

struct DryRunOptions {
  const std::string &from, &to;
  const std::set<std::string>& accepted;  // names of losses
  const Defaults& defaults;
  unsigned jobs;  // number of dry runs at a time
};

// Runs `convert --dry-run` of this program for each store. Every input becomes a device. Throws Error if no process can
// be started.
std::vector<Device> run_dry_runs(const DryRunOptions& options, const std::vector<Input>& inputs);

// Reads saved reports. Every input becomes a device.
std::vector<Device> read_reports(const std::vector<Input>& inputs, const std::set<std::string>& accepted);

}  // namespace vrrpconvert
