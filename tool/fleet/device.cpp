#include "tool/fleet/device.h"

#include <algorithm>

#include "tool/support/digits.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

// Sets the exit status and the reason by the losses that are not accepted here. The report may have other ones, because
// its dry run may have had other options.
void judge_losses(ConversionReport& report) {
  if (report.reason == "already" || (report.exit != exit_done && report.reason != "loss")) return;
  const bool is_lossless = report.summary.lost.empty();
  report.exit = is_lossless ? exit_done : exit_found;
  report.reason = is_lossless ? "" : "loss";
}

}  // namespace

void Device::fail(Exit status, const std::string& word, const std::string& message) {
  report.exit = status;
  report.reason = word;
  report.problem = message;
}

void Device::judge() {
  static constexpr const char* verdicts[] = {"", "in use", "would fail", "", "accepted", "clean"};
  const bool has_own_word = rank() == Rank::not_examined || rank() == Rank::loss || report.exit == exit_found ||
                            report.reason == "already" || report.reason == "identical";
  verdict = !has_own_word ? verdicts[static_cast<int>(rank())] : report.reason.empty() ? "unknown" : report.reason;
  std::replace(verdict.begin(), verdict.end(), '_', ' ');
}

Rank Device::rank() const {
  switch (report.exit) {
    case exit_in_use:
      return Rank::in_use;
    case exit_some_failed:
      return Rank::would_fail;
    case exit_found:
      return report.reason == "mismatch" || report.reason == "other_snapshot" ? Rank::would_fail : Rank::loss;
    case exit_done:
      return report.summary.accepted.empty() ? Rank::clean : Rank::accepted;
    default:
      return Rank::not_examined;
  }
}

void to_json(Json& json, const Device& device) {
  const ConversionReport& report = device.report;
  const Summary& summary = report.summary;
  json = {{"device", device.name},
          {"store", or_null(report.store)},
          {"verdict", device.verdict},
          {"records", summary.records.total()},
          {"changes", summary.changes},
          {"lost", summary.lost},
          {"accepted", summary.accepted},
          {"defaults", summary.defaults},
          {"differences", device.differences},
          {"failing", summary.failing},
          {"added", summary.added},
          {"failures", summary.failures},
          {"problem", or_null(report.problem)},
          {"reason", or_null(report.reason)},
          {"exit", report.exit}};
  // JSON cannot contain a name that is not UTF-8.
  if (!is_utf8(device.name)) json["device_hex"] = hex_of(std::string_view(device.name));
  if (!is_utf8(report.store)) json["store_hex"] = hex_of(std::string_view(report.store));
}

Device device_without_report(const std::string& name, const std::string& reason, const std::string& problem) {
  Device device = {name};
  device.fail(exit_bad_input, reason, problem);
  return device;
}

Device device_of_report(const std::string& name, std::istream& stream, const std::set<std::string>& accepted) {
  const std::optional<ConversionReport> report = read_dry_run_report(stream);
  if (!report) return device_without_report(name, "bad_report", "not a report of convert --dry-run --json");
  Device device = {name, *report};
  Summary& summary = device.report.summary;
  accept_losses(accepted, summary);
  if (device.report.problem.empty()) device.report.problem = summary.mismatch;
  if (report->is_good() && !summary.mismatch.empty()) {
    // The dry run had the option --allow-mismatch, so its exit status is 0.
    device.fail(exit_found, "mismatch", summary.mismatch);
  }
  judge_losses(device.report);
  return device;
}

}  // namespace vrrpconvert
