#include "tool/fleet/device.h"

#include <algorithm>

#include "tool/support/digits.h"
#include "tool/support/error.h"
#include "tool/support/printable.h"
#include "tool/support/progress.h"
#include "tool/support/suggestion.h"

namespace vrrpconvert {

void Device::take_permissions(const std::vector<std::string>& accepted) {
  Ending& ending = report.ending;
  accept_losses(accepted, report.summary);
  // For a fleet, records that the target release cannot read are a mismatch, even if the library converts nothing.
  const std::string& mismatch = report.summary.mismatch.empty() ? report.summary.note : report.summary.mismatch;
  if (ending.problem.empty()) ending.problem = mismatch;
  // A dry run with --allow-mismatch or --allow-loss has another reason.
  if (ending.is_good() && !mismatch.empty()) ending.reason = Reason::mismatch;
  if (ending.reason == Reason::none || ending.reason == Reason::loss) {
    ending.reason = report.summary.lost.empty() ? Reason::none : Reason::loss;
  }
}

std::string Device::verdict() const {
  std::string word = word_of(report.ending.reason);
  std::replace(word.begin(), word.end(), '_', ' ');
  return !word.empty() ? word : rank() == Rank::accepted ? "accepted" : "clean";
}

Rank Device::rank() const {
  const Reason reason = report.ending.reason;
  switch (exit_of(reason)) {
    case exit_in_use:
      return Rank::in_use;
    case exit_some_failed:
      return Rank::would_fail;
    case exit_found:
      switch (reason) {
        case Reason::mismatch:
        case Reason::other_snapshot:
        case Reason::lost:
        case Reason::partly:
        case Reason::unfinished:
          return Rank::would_fail;
        default:
          return Rank::loss;
      }
    case exit_done:
      return report.summary.accepted.empty() ? Rank::clean : Rank::accepted;
    default:
      return Rank::not_examined;
  }
}

std::string parse_verdict(std::string word) {
  std::replace(word.begin(), word.end(), '_', ' ');
  std::vector<std::string> verdicts = {"clean", "accepted"};
  for (std::string& reason : reason_words()) {
    std::replace(reason.begin(), reason.end(), '_', ' ');
    verdicts.push_back(reason);
  }
  if (std::find(verdicts.begin(), verdicts.end(), word) != verdicts.end()) return word;
  throw Error(Reason::usage, "--verdict: unknown word \"" + word + "\"; " + suggestion(word, verdicts));
}

void to_json(Json& json, const Device& device) {
  const Summary& summary = device.report.summary;
  // JSON cannot contain a name or a path that is not UTF-8.
  const auto hex_if_needed = [](const std::string& text) {
    return is_utf8(text) ? Json() : Json(hex_of(std::string_view(text)));
  };
  const std::string &store = device.report.store, &store_hex = device.report.store_hex;
  json = {{"device", device.name},
          {"device_hex", hex_if_needed(device.name)},
          {"store", or_null(store)},
          {"store_hex", store_hex.empty() ? hex_if_needed(store) : Json(store_hex)},
          {"verdict", device.verdict()},
          {"record_count", summary.counts.total()},
          {"change_count", summary.change_count},
          {"lost", summary.lost},
          {"accepted", summary.accepted},
          {"defaults", summary.defaults},
          {"against", or_null(device.against)},
          {"differences", device.differences},
          {"failing", summary.failing},
          {"added", summary.added},
          {"failure_count", summary.failure_count},
          {"state", or_null(device.state)}};
  json.update(device.report.ending);
}

std::vector<Device> examine_each(const std::vector<Input>& inputs,
                                 const std::function<Ending(const std::filesystem::path&, Device&)>& examine) {
  Progress progress("Devices", inputs.size());
  std::vector<Device> devices;
  for (const Input& input : inputs) {
    progress.show(devices.size());
    devices.push_back(device_without_report(input.name, input.ending));
    if (input.file.empty()) continue;
    Device& device = devices.back();
    try {
      device.report.ending = examine(input.file, device);
    } catch (const Error& error) {
      device.report.ending = error.ending();
    }
  }
  return devices;
}

Device device_without_report(const std::string& name, const Ending& ending) {
  Device device = {name};
  device.report.ending = ending;
  return device;
}

}  // namespace vrrpconvert
