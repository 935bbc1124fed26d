#include "tool/fleet/fleet.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <tuple>

#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

void take_releases(Fleet& fleet) {
  for (Device& device : fleet.devices) {
    const std::string from = device.report.from, to = device.report.to;
    if (from.empty()) continue;
    if (fleet.from.empty()) std::tie(fleet.from, fleet.to) = std::tie(from, to);
    if (from == fleet.from && to == fleet.to) continue;
    std::string problem = "the report is for ";
    problem.append(from).append(" to ").append(to).append(", but other reports are for ").append(fleet.from);
    problem.append(" to ").append(fleet.to);
    device = device_without_report(device.name, {Reason::bad_report, problem});
  }
}

// Removes the path of the store from the problem, which then is the same text on each device that has it.
void shorten(Device& device) {
  std::string& problem = device.report.ending.problem;
  if (problem.starts_with(device.report.store + ": ")) problem.erase(0, device.report.store.size() + 2);
  const std::string directory = std::filesystem::path(device.report.store).parent_path().string() + '/';
  for (size_t at; directory.size() > 1 && (at = problem.find(directory)) != std::string::npos;) {
    problem.erase(at, directory.size());
  }
}

void add(const NamesByWord& names, std::map<std::string, WordTotal>& totals) {
  for (const auto& [word, list] : names) {
    ++totals[word].device_count;
    totals[word].record_count += list.count;
  }
}

Totals totals_of(const std::vector<Device>& devices) {
  Totals totals;
  totals.device_count = devices.size();
  for (const Device& device : devices) {
    const Summary& summary = device.report.summary;
    totals.verdicts.add(device.verdict());
    add(summary.lost, totals.lost);
    add(summary.accepted, totals.accepted);
    add(summary.defaults, totals.defaults);
    add(summary.failing, totals.failing);
    add(device.differences, totals.differences);
    const std::string& problem = device.report.ending.problem;
    if (!problem.empty()) totals.problems[problem].add([&device] { return device.name; });
  }
  return totals;
}

// A part of the devices, and what is said of many or of one of them.
struct Part {
  size_t count;
  const char* many;
  const char* one = nullptr;  // if that differs
};

// Returns the problems: "11 of 500 devices cannot be converted, 180 would lose values that are not accepted", or an
// empty text.
std::string problem_of(const Fleet& fleet) {
  size_t unusable = 0, losing = 0;
  for (const Device& device : fleet.devices) {
    unusable += device.rank() < Rank::loss;
    losing += device.rank() == Rank::loss;
  }
  const VerdictCounts& verdicts = fleet.totals.verdicts;
  const size_t empty = verdicts.of("not configured"), unconverted = verdicts.of("not converted"),
               deleted = verdicts.of("deleted");
  const bool is_whole = fleet.totals.lost.contains(whole_record);
  const Part of_dry_runs[] = {
      {unusable, "cannot be converted"},
      {deleted, "have no VRRP records, unlike a backup", "has no VRRP records, unlike a backup"},
      {losing - deleted,
       is_whole ? "would lose whole records, which is not accepted" : "would lose values that are not accepted"}};
  const Part of_comparison[] = {{losing - empty - unconverted, "differ from the backup", "differs from the backup"},
                                {unconverted, "are not converted", "is not converted"},
                                {empty, "have no VRRP configuration", "has no VRRP configuration"},
                                {unusable, "were not compared", "was not compared"}};
  std::string text;
  const auto append = [&](const Part& part) {
    if (part.count == 0) return;
    const size_t all = fleet.devices.size();
    text += (text.empty() ? "" : ", ") + std::to_string(part.count);
    if (text.find(' ') == std::string::npos) text += " of " + counted(all, "device");
    text += std::string(" ") + (part.count == 1 && part.one != nullptr ? part.one : part.many);
  };
  fleet.is_verified ? std::for_each(std::begin(of_comparison), std::end(of_comparison), append)
                    : std::for_each(std::begin(of_dry_runs), std::end(of_dry_runs), append);
  return text;
}

// "Not finished: 2 of 9 devices (1 lost, 1 upgraded)"
std::string decision_of_states(const Fleet& fleet) {
  std::map<std::string, size_t> words;
  size_t unfinished = 0;
  for (const Device& device : fleet.devices) {
    if (device.report.ending.is_good()) continue;
    ++unfinished;
    ++words[device.verdict()];
  }
  const size_t all = fleet.devices.size();
  const std::string devices = counted(all, "device");
  if (unfinished == 0) return "Finished: " + (all == 1 ? "the device" : "all " + devices);
  std::string text;
  for (const auto& [word, count] : words) text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + word;
  return "Not finished: " + std::to_string(unfinished) + " of " + devices + " (" + text + ")";
}

std::string decision_of(const Fleet& fleet) {
  if (fleet.is_status) return decision_of_states(fleet);
  const std::string problem = problem_of(fleet);
  if (!problem.empty()) return "NO-GO: " + problem;
  const std::string all =
      fleet.devices.size() == 1 ? "the device" : "all " + std::to_string(fleet.devices.size()) + " devices";
  const bool is_one = fleet.devices.size() == 1;
  if (fleet.is_verified) return "GO: " + all + (is_one ? " is" : " are") + " identical to the backup";
  if (fleet.totals.verdicts.of("already") == fleet.devices.size()) {
    return "Nothing to do: the target release can read the records of " + all;
  }
  return "GO: " + all + " can be converted" +
         (fleet.totals.accepted.contains(whole_record) ? "; the conversion deletes VRRP records (accepted)"
          : fleet.totals.accepted.empty()              ? " without loss"
                                                       : " with accepted losses only");
}

// Returns the reason of the devices that were not examined if all of them have one, and it has the exit status of a
// fleet with such devices.
Reason reason_of_unexamined(const Fleet& fleet) {
  const Reason first = fleet.devices.front().report.ending.reason;
  const bool is_one = std::all_of(fleet.devices.begin(), fleet.devices.end(), [first](const Device& device) {
    return device.rank() != Rank::not_examined || device.report.ending.reason == first;
  });
  return is_one && exit_of(first) == exit_bad_input ? first : Reason::bad_input;
}

Ending ending_of(const Fleet& fleet) {
  if (fleet.devices.empty()) return {};
  const Reason reasons[] = {reason_of_unexamined(fleet),
                            Reason::in_use,
                            fleet.is_status ? Reason::found : Reason::would_fail,
                            fleet.is_status     ? Reason::found
                            : fleet.is_verified ? Reason::differs
                                                : Reason::loss,
                            Reason::none,
                            Reason::none};
  const Reason reason = reasons[static_cast<int>(fleet.devices.front().rank())];
  return {reason, reason == Reason::none ? "" : fleet.decision};
}

std::string time_in_utc() {
  const time_t now = time(nullptr);
  char text[32];
  return {text, strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", gmtime(&now))};
}

}  // namespace

void VerdictCounts::add(const std::string& verdict) {
  if (of(verdict) == 0) counts_.emplace_back(verdict, 0);
  for (auto& [word, count] : counts_) count += word == verdict;
}

size_t VerdictCounts::of(const std::string& verdict) const {
  for (const auto& [word, count] : counts_) {
    if (word == verdict) return count;
  }
  return 0;
}

void to_json(Json& json, const VerdictCounts& counts) {
  json = Json::object();
  for (const auto& [verdict, count] : counts) json[verdict] = count;
}

void complete(Fleet& fleet, const std::vector<std::string>& accepted) {
  take_releases(fleet);
  for (Device& device : fleet.devices) shorten(device);
  std::sort(fleet.devices.begin(), fleet.devices.end(),
            [](const Device& a, const Device& b) { return std::pair(a.rank(), a.name) < std::pair(b.rank(), b.name); });
  fleet.tool = CONVERTVRRP_VERSION;
  fleet.made = time_in_utc();
  fleet.totals = totals_of(fleet.devices);
  for (auto& [field, total] : fleet.totals.accepted)
    total.source = std::find(accepted.begin(), accepted.end(), field) != accepted.end() ? "--accept-loss" : "reports";
  fleet.decision = decision_of(fleet);
  fleet.ending = ending_of(fleet);
}

}  // namespace vrrpconvert
