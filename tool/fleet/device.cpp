#include "tool/fleet/device.h"

#include <algorithm>

#include "tool/conversion/report.h"

namespace vrrpconvert {
namespace {

// Applies what is accepted here: the dry run that wrote the report may have had other options.
void judge_losses(Device& device) {
  if (device.exit != exit_done && device.reason != "loss") return;
  device.exit = device.lost.empty() ? exit_done : exit_found;
  device.reason = device.lost.empty() ? "" : "loss";
}

}  // namespace

void Device::fail(Exit status, const std::string& word, const std::string& message) {
  exit = status;
  reason = word;
  problem = message;
}

void Device::judge() {
  const bool has_verdict = exit == exit_done || exit == exit_found || exit == exit_some_failed || exit == exit_in_use;
  if (reason == "mismatch") {
    verdict = "contradiction";
  } else if (has_verdict) {
    verdict = exit == exit_in_use        ? "in use"
              : exit == exit_some_failed ? "would fail"
              : exit == exit_found       ? "loss"
              : accepted.empty()         ? "clean"
                                         : "accepted";
  } else {
    verdict = reason.empty() ? "unknown" : reason;
    std::replace(verdict.begin(), verdict.end(), '_', ' ');
  }
}

int Device::rank() const {
  switch (exit) {
    case exit_in_use:
      return 1;
    case exit_some_failed:
      return 2;
    case exit_found:
      return 3;
    case exit_done:
      return accepted.empty() ? 5 : 4;
    default:
      return 0;
  }
}

Device device_without_report(const std::string& name, const std::string& reason, const std::string& problem) {
  Device device;
  device.device = name;
  device.fail(exit_bad_input, reason, problem);
  return device;
}

Device device_of_report(const std::string& name, std::istream& stream, const std::set<std::string>& accepted) {
  std::optional<ConversionReport> report = read_dry_run_report(stream);
  if (!report) return device_without_report(name, "bad_report", "no report of convert --dry-run --json");
  Summary& summary = report->summary;
  accept_losses(accepted, summary);
  Device device;
  device.device = name;
  device.store = report->store;
  device.from = report->from;
  device.to = report->to;
  device.records = summary.records.total();
  device.changes = summary.changes;
  device.lost = summary.lost;
  device.accepted = summary.accepted;
  device.failing = summary.failing;
  device.added = summary.added;
  device.failures = summary.failures;
  device.problem = report->problem.empty() ? summary.mismatch : report->problem;
  device.reason = report->reason;
  device.exit = report->exit;
  if (device.exit == exit_done && !summary.mismatch.empty()) {
    device.fail(exit_found, "mismatch", summary.mismatch);  // which --allow-mismatch allowed
  }
  judge_losses(device);
  return device;
}

}  // namespace vrrpconvert
