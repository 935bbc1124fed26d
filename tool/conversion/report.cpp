#include "tool/conversion/report.h"

#include <algorithm>

namespace vrrpconvert {
namespace {

// A mismatch is a store that the source release cannot have written: an upgrade would delete records that the target
// release can read.
void compare_releases(const Conversion& conversion, Summary& summary) {
  const size_t new_ones = summary.records.with_layout(Version::new_one);
  const size_t old_ones = summary.records.with_layout(Version::old_one);
  const Change change = conversion.change();
  if (change != Change::none && new_ones > 0 && old_ones > 0) {
    summary.mismatch = "the store has records of both layouts, " + std::to_string(new_ones) +
                       " in the new layout and " + std::to_string(old_ones) +
                       " in the old one: no release writes that; an earlier conversion may have failed in part";
  } else if (change == Change::upgrade && new_ones > 0) {
    summary.mismatch = "the records are in the new layout, which " + conversion.from.text +
                       " does not write: the store may have been written by a later release";
  } else if (change == Change::downgrade && old_ones > 0) {
    summary.note = "the records are in the old layout already";
  } else if (change == Change::none && (conversion.to.has_old_layout ? new_ones : old_ones) > 0) {
    summary.note = conversion.to.text + " cannot read " +
                   std::to_string(conversion.to.has_old_layout ? new_ones : old_ones) +
                   " of the records, which are in the " + (conversion.to.has_old_layout ? "new" : "old") + " layout";
  }
}

Json parse_without_lists(std::istream& stream) {
  constexpr const char* lists[] = {"changes", "losses", "failures", "outcome"};
  const auto is_kept = [&lists](int depth, Json::parse_event_t event, const Json& parsed) {
    if (depth != 1 || event != Json::parse_event_t::key) return true;
    return std::find(std::begin(lists), std::end(lists), parsed.get_ref<const std::string&>()) == std::end(lists);
  };
  return Json::parse(stream, is_kept, false);
}

// Whether all numbers are counts that a store can have: the JSON library would cast any other silently.
bool has_only_counts(const Json& json) {
  constexpr uint64_t count_max = 0x7fffffff;
  if (json.is_number()) return json.is_number_unsigned() && json.get<uint64_t>() <= count_max;
  return !json.is_structured() || std::all_of(json.begin(), json.end(), has_only_counts);
}

}  // namespace

Json json_of_outcome(const ConversionReport& report) {
  const Outcome outcome = report.outcome.value_or(Outcome());
  return {{"changed", report.changed},      {"converted", outcome.converted},  {"deleted", outcome.deleted},
          {"added", outcome.added.records}, {"left_alone", outcome.unchanged}, {"failed", outcome.failed}};
}

Summary summary_of(const Conversion& conversion, const Outcome& foreseen, const std::set<std::string>& accepted) {
  Summary summary = {
      foreseen.records, foreseen.changes, foreseen.lost, {}, foreseen.added, {}, foreseen.failed.size(), {}, {}};
  for (const FailedRecord& failed : foreseen.failed) summary.failing[failed.reason].add([&] { return failed.record; });
  accept_losses(accepted, summary);
  compare_releases(conversion, summary);
  return summary;
}

void accept_losses(const std::set<std::string>& accepted, Summary& summary) {
  for (const std::string& field : accepted) {
    if (auto node = summary.lost.extract(field)) summary.accepted.insert(std::move(node));
  }
}

std::optional<ConversionReport> read_dry_run_report(std::istream& stream) {
  const Json json = parse_without_lists(stream);
  try {
    const Json summary = json.value("summary", Json());
    if (json.at("schema") != 1 || !has_only_counts(json.at("exit")) || !has_only_counts(summary)) return std::nullopt;
    auto report = json.get<ConversionReport>();
    json.at("exit").get_to(report.exit);
    if (report.exit > exit_interrupted) return std::nullopt;
    // An error has no summary, and an exit status that a summary cannot have.
    const bool is_error = report.exit != exit_done && report.exit != exit_found && report.exit != exit_some_failed &&
                          !report.reason.empty();
    const bool is_dry_run = report.dry_run && summary.is_object();
    return is_dry_run || (is_error && !json.contains("summary")) ? std::optional(report) : std::nullopt;
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

}  // namespace vrrpconvert
