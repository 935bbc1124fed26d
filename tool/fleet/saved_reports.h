// Saved reports of dry runs.
#pragma once

#include <string>
#include <vector>

#include "tool/fleet/device.h"
#include "tool/fleet/search.h"

namespace vrrpconvert {

// Reads reports of `convert --dry-run --json`, with or without their lists. Losses of `accepted` fields do not refuse
// the conversion. Every input becomes a device; if its file is not such a report, with the reason bad_report.
std::vector<Device> read_reports(const std::vector<Input>& inputs, const std::vector<std::string>& accepted);

}  // namespace vrrpconvert
