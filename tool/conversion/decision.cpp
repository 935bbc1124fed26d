#include "tool/conversion/decision.h"

namespace vrrpconvert {
namespace {

std::string counted(size_t records, const char* noun) {
  return std::to_string(records) + " " + noun + (records == 1 ? "" : "s");
}

bool is_upgrade(const ConversionReport& report) { return report.change == name_of(Change::upgrade); }

// Returns the options that permit the conversion and that the operator did not give.
std::string missing_options(const Summary& summary, const Permissions& permissions) {
  std::string options;
  if (!summary.mismatch.empty() && !permissions.mismatch) options += " --allow-mismatch";
  if (summary.failures > 0 && !permissions.loss) return options + " --allow-loss";
  return summary.lost.empty() ? options : options + " --accept-loss " + words_of(summary.lost);
}

// "rewrites 13 records and loses values of 5 fields"
std::string effect_of(const ConversionReport& report) {
  const Summary& summary = report.summary;
  std::string text;
  if (is_upgrade(report)) {
    text = summary.failures == 0 ? "deletes all " : "deletes ";
    text += counted(summary.changes, "VRRP record");
  } else {
    const size_t rewritten = summary.changes - summary.added.records;
    if (rewritten > 0 || summary.added.records == 0) text = "rewrites " + counted(rewritten, "record");
    if (summary.added.records > 0)
      text += (text.empty() ? "" : ", ") + ("adds " + counted(summary.added.records, "record"));
    if (!summary.lost.empty()) text += " and loses values of " + counted(summary.lost.size(), "field");
    if (summary.lost.empty() && summary.accepted.empty()) text += " without loss";
  }
  if (!summary.accepted.empty()) text += "; accepted losses: " + text_of_counts(summary.accepted);
  if (!summary.defaults.empty()) text += "; default values: " + text_of_counts(summary.defaults);
  return summary.failures == 0 ? text : text + "; " + counted(summary.failures, "record") + " would fail";
}

// Returns the part of the effect that the operator does not permit.
std::string refused_effect_of(const ConversionReport& report, bool is_mismatch) {
  const Summary& summary = report.summary;
  if (is_mismatch) return summary.mismatch + "; " + effect_of(report);
  if (summary.failures > 0) return counted(summary.failures, "record") + " would fail";
  return is_upgrade(report) ? effect_of(report) : "would lose values: " + text_of_counts(summary.lost);
}

}  // namespace

Ending refusal_of(const ConversionReport& report, const Permissions& permissions) {
  const Summary& summary = report.summary;
  const std::string missing = missing_options(summary, permissions);
  if (missing.empty()) return {};
  const bool is_mismatch = !summary.mismatch.empty() && !permissions.mismatch;
  return {summary.failures > 0 ? exit_some_failed : exit_found,
          refused_effect_of(report, is_mismatch) + "; to accept:" + missing,
          is_mismatch            ? "mismatch"
          : summary.failures > 0 ? "would_fail"
                                 : "loss"};
}

std::string decision_of(const ConversionReport& report, const Permissions& permissions) {
  const Summary& summary = report.summary;
  const std::string missing = missing_options(summary, permissions);
  if (!missing.empty()) {
    const std::string mismatch = summary.mismatch.empty() || permissions.mismatch ? "" : summary.mismatch + "; ";
    return "NO-GO: " + mismatch + effect_of(report) + "; to accept:" + missing;
  }
  if (summary.changes > 0 || summary.failures > 0) return "GO: " + effect_of(report);
  if (!summary.note.empty())
    return "Nothing to do: " + report.from + " to " + report.to + ": the library converts nothing";
  const RecordCounts& records = summary.records;
  const bool has_layouts = records.with_layout(Version::new_one) + records.with_layout(Version::old_one) > 0;
  return "Nothing to do: " + (has_layouts ? "the records already have the layout that " + report.to + " reads"
                                          : std::string("the store has no records that a conversion changes"));
}

}  // namespace vrrpconvert
