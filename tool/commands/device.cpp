#include "tool/commands/device.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

using Json = nlohmann::json;

// Reads without keeping what may be as long as the store.
Json parse_without_lists(std::istream& report) {
  return Json::parse(
      report,
      [](int depth, Json::parse_event_t event, const Json& parsed) {
        static const std::set<std::string> lists = {"changes", "losses", "failures", "outcome"};
        return !(depth == 1 && event == Json::parse_event_t::key && lists.contains(parsed.get<std::string>()));
      },
      false);
}

// What a report holds may come from another machine.
std::string text_in(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? printable(found->get<std::string>()) : "";
}

size_t number_in(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number_unsigned() ? found->get<size_t>() : 0;
}

NameList list_in(const Json& names) {
  NameList list;
  if (!names.is_object() || !names.contains("first")) return list;
  list.count = number_in(names, "records");
  for (const Json& one : names["first"]) {
    if (one.is_string() && list.first.size() < NameList::shown_max)
      list.first.push_back(printable(one.get<std::string>()));
  }
  return list;
}

std::map<std::string, NameList> lists_in(const Json& summary, const char* name) {
  std::map<std::string, NameList> lists;
  if (!summary.contains(name) || !summary[name].is_object()) return lists;
  for (const auto& [key, names] : summary[name].items()) lists[printable(key)] = list_in(names);
  return lists;
}

size_t count_in(const Json& counts) {
  size_t sum = 0;
  for (const Json& layouts : counts) {
    for (const Json& count : layouts) sum += count.is_number_unsigned() ? count.get<size_t>() : 0;
  }
  return sum;
}

// What the losses mean here: a dry run may have allowed more, or accepted less.
void judge_losses(const std::set<std::string>& accepted, Device& device) {
  for (const std::string& field : accepted) {
    if (auto node = device.lost.extract(field)) device.accepted.insert(std::move(node));
  }
  if (device.exit != exit_done && device.reason != "loss") return;
  device.exit = device.lost.empty() ? exit_done : exit_found;
  device.reason = device.lost.empty() ? "" : "loss";
}

Device bad_report(const std::string& name) {
  Device device;
  device.name = name;
  device.reason = "bad_report";
  device.problem = "no report of convert --dry-run --json";
  return device;
}

// Whether it is the report of a dry run, or of an error that ended one.
bool is_report(const Json& json) {
  if (!json.is_object() || number_in(json, "schema") != 1 || !json.contains("exit")) return false;
  if (!json["exit"].is_number_unsigned() || json["exit"].get<uint64_t>() > exit_interrupted) return false;
  if (json.contains("summary")) return json["summary"].is_object() && json.value("dry_run", Json()) == true;
  const auto code = json["exit"].get<uint64_t>();
  return code != exit_done && code != exit_found && code != exit_some_failed && !text_in(json, "reason").empty();
}

}  // namespace

std::string Device::verdict() const {
  if (reason == "mismatch") return "contradiction";
  switch (exit) {
    case exit_done:
      return accepted.empty() ? "clean" : "accepted";
    case exit_found:
      return "loss";
    case exit_some_failed:
      return "would fail";
    case exit_in_use:
      return "in use";
    default: {
      std::string words = reason.empty() ? "unknown" : reason;
      std::replace(words.begin(), words.end(), '_', ' ');
      return words;
    }
  }
}

int Device::rank() const {
  static constexpr unsigned order[] = {exit_in_use, exit_some_failed, exit_found, exit_done};
  const auto found = std::find(std::begin(order), std::end(order), exit);
  if (found == std::end(order)) return 0;
  return static_cast<int>(found - std::begin(order)) + 1 + (exit == exit_done && accepted.empty() ? 1 : 0);
}

std::string Device::lost_text() const {
  std::string text;
  for (const auto& [field, names] : lost) {
    text += (text.empty() ? "" : ", ") + field + " " + std::to_string(names.count);
  }
  return text;
}

void Device::write(JsonWriter& json) const {
  json.begin_object();
  json.member("device", name);
  json.member_or_null("store", store);
  json.member("verdict", verdict());
  json.member("records", records);
  json.member("changes", changes);
  write_names(json, "lost", lost);
  write_names(json, "accepted", accepted);
  write_names(json, "failing", failing);
  json.key("added");
  added.write(json);
  json.member("failures", failures);
  json.member_or_null("problem", problem);
  json.member_or_null("reason", reason);
  json.member("exit", exit);
  json.end();
}

Device device_of_report(const std::string& name, std::istream& report, const std::set<std::string>& accepted) {
  const Json json = parse_without_lists(report);
  if (!is_report(json)) return bad_report(name);
  Device device;
  device.name = name;
  device.from = text_in(json, "from");
  device.to = text_in(json, "to");
  device.store = text_in(json, "store");
  device.problem = text_in(json, "problem");
  device.reason = text_in(json, "reason");
  device.exit = static_cast<unsigned>(number_in(json, "exit"));
  if (!json.contains("summary") || !json["summary"].is_object()) return device;
  const Json& summary = json["summary"];
  device.records = summary.contains("records") ? count_in(summary["records"]) : 0;
  device.changes = number_in(summary, "changes");
  device.failures = number_in(summary, "failures");
  device.failing = lists_in(summary, "failing");
  if (summary.contains("added")) device.added = list_in(summary["added"]);
  device.lost = lists_in(summary, "lost");
  device.accepted = lists_in(summary, "accepted");
  if (device.problem.empty()) device.problem = text_in(summary, "mismatch");
  if (device.exit == exit_done && !text_in(summary, "mismatch").empty()) {
    device.exit = exit_found;  // which --allow-mismatch allowed
    device.reason = "mismatch";
  }
  judge_losses(accepted, device);
  return device;
}

std::map<std::string, size_t> Fleet::verdicts() const {
  std::map<std::string, size_t> counts;
  for (const Device& device : devices) ++counts[device.verdict()];
  return counts;
}

std::map<std::string, Fleet::Lost> Fleet::lost() const {
  std::map<std::string, Lost> fields;
  for (const Device& device : devices) {
    for (const auto& [field, names] : device.lost) {
      ++fields[field].devices;
      fields[field].records += names.count;
    }
  }
  return fields;
}

Exit Fleet::exit() const {
  const auto worst = std::min_element(devices.begin(), devices.end(),
                                      [](const Device& a, const Device& b) { return a.rank() < b.rank(); });
  if (worst == devices.end()) return exit_done;
  return worst->rank() == 0 ? exit_bad_input : static_cast<Exit>(worst->exit);
}

}  // namespace vrrpconvert
