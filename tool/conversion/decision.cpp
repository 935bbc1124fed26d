#include "tool/conversion/decision.h"

#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

bool is_upgrade(const DryRunReport& report) { return report.change == name_of(Change::upgrade); }

// Returns the options that permit the conversion and that the operator did not give.
std::string missing_options(const Summary& summary, const Request& request) {
  std::string options;
  if (!summary.mismatch.empty() && !request.allow_mismatch) options += " --allow-mismatch";
  if (summary.failure_count > 0 && !request.allow_loss) return options + " --allow-loss";
  return summary.lost.empty() ? options : options + " --accept-loss " + words_of(summary.lost);
}

// "rewrites 13 records and loses values of 5 fields"
std::string effect_of(const DryRunReport& report) {
  const Summary& summary = report.summary;
  std::string text;
  if (is_upgrade(report)) {
    text = summary.failure_count == 0 ? "deletes all " : "deletes ";
    text += counted(summary.change_count, "VRRP record");
  } else {
    const size_t rewritten = summary.change_count - summary.added.count;
    if (rewritten > 0 || summary.added.count == 0) text = "rewrites " + counted(rewritten, "record");
    if (summary.added.count > 0)
      text += (text.empty() ? "" : ", ") + ("adds " + counted(summary.added.count, "record"));
    if (!summary.lost.empty()) text += " and loses values of " + counted(summary.lost.size(), "field");
    if (summary.lost.empty() && summary.accepted.empty()) text += " without loss";
  }
  if (summary.enables_vrrp) text += "; enables VRRP, which is not enabled now";
  if (!summary.accepted.empty()) text += "; accepted losses: " + text_of_counts(summary.accepted);
  if (!summary.defaults.empty()) text += "; default values: " + words_of(summary.defaults);
  return summary.failure_count == 0 ? text : text + "; " + counted(summary.failure_count, "record") + " would fail";
}

// Returns the part of the effect that the operator does not permit.
std::string refused_effect_of(const DryRunReport& report) {
  const Summary& summary = report.summary;
  if (summary.failure_count > 0) return counted(summary.failure_count, "record") + " would fail";
  return is_upgrade(report) ? effect_of(report) : "would lose values: " + text_of_counts(summary.lost);
}

std::string nothing_to_do(const DryRunReport& report) {
  if (!report.summary.note.empty()) {
    return "Nothing to do: " + report.from + " to " + report.to + ": the library converts nothing";
  }
  const RecordCounts& counts = report.summary.counts;
  const bool has_layouts = counts.with_layout(Version::new_one) + counts.with_layout(Version::old_one) > 0;
  if (!has_layouts) return "Nothing to do: the store has no records that a conversion changes";
  return "Nothing to do: the records already have the layout that " + report.to + " reads" +
         (is_upgrade(report) ? "; an upgrade by the device itself would delete them" : "");
}

}  // namespace

Decision decide(const DryRunReport& report, const Request& request, const Ending& obstacle) {
  const Summary& summary = report.summary;
  const std::string missing = missing_options(summary, request);
  const bool is_mismatch = !summary.mismatch.empty() && !request.allow_mismatch;
  Decision decision = {nothing_to_do(report)};
  if (!missing.empty()) {
    const std::string effect = (is_mismatch ? summary.mismatch + "; " : "") + effect_of(report);
    const Reason reason = is_mismatch                 ? Reason::mismatch
                          : summary.failure_count > 0 ? Reason::would_fail
                                                      : Reason::loss;
    decision = {"NO-GO: " + effect + "; to accept:" + missing,
                {reason, (is_mismatch ? effect : refused_effect_of(report)) + "; to accept:" + missing},
                true};
  } else if (!summary.is_empty()) {
    decision.text = "GO: " + effect_of(report);
  }
  if (obstacle.is_good()) return decision;
  return {"NO-GO: " + obstacle.problem + "; apart from this problem: " + decision.text, obstacle};
}

}  // namespace vrrpconvert
