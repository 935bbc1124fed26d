#include "tool/conversion/report.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <stdexcept>

namespace vrrpconvert {
namespace {

// Sets the mismatch: the source release does not write these records, or the upgrade would delete records that the
// target release can read. Sets the note if the target release cannot read the records and there is no conversion.
void compare_releases(const Conversion& conversion, Summary& summary) {
  const size_t new_ones = summary.records.with_layout(Version::new_one);
  const size_t old_ones = summary.records.with_layout(Version::old_one);
  const Change change = conversion.change();
  if (change != Change::none && new_ones > 0 && old_ones > 0) {
    summary.mismatch = "the store contains both layouts (" + std::to_string(new_ones) + " new, " +
                       std::to_string(old_ones) +
                       " old), which no release writes; an earlier conversion may be incomplete";
  } else if (change == Change::upgrade && new_ones > 0) {
    summary.mismatch = "the records are in the new layout, which " + conversion.from.text +
                       " does not write; a later release may have written the store";
  } else if (change == Change::upgrade && conversion.to.has_old_layout && summary.changes > 0) {
    summary.mismatch = conversion.from.text + " and " + conversion.to.text +
                       " both read the old layout; the upgrade would delete records that " + conversion.to.text +
                       " can read";
  } else if (change == Change::none && (conversion.to.has_old_layout ? new_ones : old_ones) > 0) {
    summary.note = conversion.to.text + " cannot read " +
                   std::to_string(conversion.to.has_old_layout ? new_ones : old_ones) + " records that are in the " +
                   (conversion.to.has_old_layout ? "new" : "old") + " layout";
  }
}

// Returns whether the report of a dry run is complete and its exit status matches its summary.
bool is_dry_run(const ConversionReport& report, const Json& summary) {
  const auto has = [&summary](const char* name) { return summary.contains(name) && !summary[name].is_null(); };
  if (!report.dry_run || !is_release(report.from) || !is_release(report.to) || !has("records") || !has("lost") ||
      !has("accepted") || !has("failures")) {
    return false;
  }
  const Summary& found = report.summary;
  const std::string& reason = report.reason;
  switch (report.exit) {
    case exit_done:
      if (reason == "already") return found.changes == 0 && found.failures == 0 && found.lost.empty();
      return found.failures == 0 && reason.empty();
    case exit_found:
      return found.failures == 0 && (reason == "loss" || reason == "mismatch" || reason == "other_snapshot");
    case exit_some_failed:
      return found.failures > 0 && (reason == "would_fail" || reason == "mismatch");
    case exit_io:  // preflight checks
      return !report.problem.empty() && (reason == "permission" || reason == "no_space" || reason == "missing");
    default:
      return false;
  }
}

// Returns whether the report of an error is valid: it has a known reason and an exit status that no summary has.
bool is_error(const ConversionReport& report) {
  static constexpr const char* reasons[] = {"usage",   "bad_input",       "missing",      "damaged",   "not_a_store",
                                            "in_use",  "untrusted",       "permission",   "no_space",  "no_memory",
                                            "io",      "unknown_outcome", "not_examined", "too_large", "interrupted",
                                            "changed", "replaced",        "unreadable",   "bad_report"};
  return report.exit <= exit_interrupted && report.exit != exit_done && report.exit != exit_found &&
         report.exit != exit_some_failed &&
         std::find(std::begin(reasons), std::end(reasons), report.reason) != std::end(reasons);
}

}  // namespace

Json json_of_outcome(const ConversionReport& report) {
  const Outcome outcome = report.outcome.value_or(Outcome());
  return {{"changed", report.changed},      {"converted", outcome.converted},  {"deleted", outcome.deleted},
          {"added", outcome.added.records}, {"left_alone", outcome.unchanged}, {"failed", outcome.failed}};
}

Summary summary_of(const Conversion& conversion, const Outcome& foreseen) {
  Summary summary = {.records = foreseen.records,
                     .changes = foreseen.changes,
                     .lost = foreseen.lost,
                     .defaults = foreseen.defaults,
                     .added = foreseen.added,
                     .without_vr = foreseen.without_vr,
                     .failures = foreseen.failed.size()};
  for (const FailedRecord& failed : foreseen.failed) summary.failing[failed.reason].add([&] { return failed.record; });
  if (!is_converted_already(conversion, foreseen)) compare_releases(conversion, summary);
  return summary;
}

void accept_losses(const std::set<std::string>& accepted, Summary& summary) {
  for (const std::string& field : accepted) {
    if (auto node = summary.lost.extract(field)) summary.accepted.insert(std::move(node));
  }
}

void accept_all_losses(Summary& summary) { summary.accepted.merge(summary.lost); }

std::optional<ConversionReport> read_dry_run_report(std::istream& stream) {
  try {
    constexpr const char* needed[] = {"schema",  "store",   "from",   "to",  "dry_run",
                                      "summary", "problem", "reason", "exit"};
    const Json json = parse_members(stream, needed);
    if (json.at("schema") != 1) return std::nullopt;
    auto report = json.get<ConversionReport>();
    report.exit = to_count(json.at("exit"));
    const bool is_known = json.contains("summary") ? is_dry_run(report, json["summary"]) : is_error(report);
    return is_known ? std::optional(report) : std::nullopt;
  } catch (const std::ios_base::failure&) {
    throw;  // reading failed, so the text is unknown
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vrrpconvert
