// The overview of many devices: text, JSON and a page. The commands fleet and verify print it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/commands/commands.h"
#include "tool/fleet/fleet.h"

namespace vrrpconvert {

struct OverviewOptions {
  std::vector<std::string> paths{};
  std::string expected{};  // file with names of devices, or empty
  std::string html{};      // empty for no page
  bool summary = false;    // only the devices that need someone
  std::string verdict{};   // only devices with this verdict; empty for all
  JsonReport* json = nullptr;
};

// Adds the operands and the options of an overview.
void add_overview_options(Command& command, OverviewOptions& options, const char* paths_help);

// Prints the overview of the fleet that `make` returns. `accepted` are the losses of --accept-loss. If there is one
// device, `print_only_device` prints its text instead.
Exit show_overview(const OverviewOptions& options, const std::vector<std::string>& accepted,
                   const std::function<Fleet()>& make,
                   const std::function<void(const Device&)>& print_only_device = nullptr);

}  // namespace vrrpconvert
