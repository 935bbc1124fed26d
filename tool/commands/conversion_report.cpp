#include "tool/commands/conversion_report.h"

#include <iomanip>
#include <iostream>
#include <span>

#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

void write_failures(JsonWriter& json, const char* name, const std::vector<FailedRecord>& failures) {
  json.key(name);
  json.begin_list();
  for (const FailedRecord& record : failures) {
    json.begin_object();
    json.member("store_key", record.store_key);
    json.member("record", record.record);
    json.member("reason", record.reason);
    json.end();
  }
  json.end();
}

void write_outcome(JsonWriter& json, const Report& report) {
  const Verdict verdict = report.verdict.value_or(Verdict());
  json.key("outcome");
  json.begin_object();
  json.member("changed", !report.is_as_it_was);
  json.member("converted", verdict.converted);
  json.member("deleted", verdict.deleted);
  json.member("added", verdict.added.count);
  json.member("left_alone", verdict.left_alone);
  write_failures(json, "failed", verdict.failed);
  json.end();
}

// What there is to decide on, of the same size however many records there are.
void write_summary(JsonWriter& json, const Plan& plan) {
  json.key("summary");
  json.begin_object();
  json.key("records");
  plan.counts.write(json);
  json.member("changes", plan.changes);
  write_names(json, "lost", plan.lost);
  write_names(json, "accepted", plan.accepted);
  json.key("added");
  plan.added.write(json);
  std::map<std::string, NameList> failing;  // by reason
  for (const FailedRecord& failed : plan.failures) failing[failed.reason].add(failed.record);
  write_names(json, "failing", failing);
  json.member("failures", plan.failures.size());
  json.member_or_null("mismatch", plan.mismatch);
  json.member_or_null("note", plan.note);
  json.end();
}

void write_loss(JsonWriter& json, const Loss& loss, bool reveal) {
  json.begin_object();
  json.member("store_key", hex_of(loss.record.key));
  json.member("record", name_of(loss.record));
  write_identity(json, loss.record);
  json.member_or_null("field", loss.field != nullptr ? loss.name : "");
  json.key("value");
  loss.field != nullptr ? write_field(json, *loss.field, loss.field->in(loss.record.value), reveal)
                        : json.value(nullptr);
  json.end();
}

void write_changes(JsonWriter& json, const Report& report) {
  const bool reveal = report.options.reveal;
  json.key("changes");
  json.begin_list();
  for_each_difference(report.dry_run.before(), report.dry_run.after(),
                      [&](const Difference& difference) { write_difference(json, difference, {reveal}); });
  json.end();
  json.key("losses");
  json.begin_list();
  for_each_loss(report.dry_run, [&](const Loss& loss) { write_loss(json, loss, reveal); });
  json.end();
  write_failures(json, "failures", report.plan.failures);
}

void write_ways_back(JsonWriter& json, const std::vector<WayBack>& ways) {
  json.key("ways_back");
  json.begin_list();
  for (const WayBack& way : ways) {
    json.begin_object();
    json.member("file", way.file.string());
    json.member_or_null("release", way.release);
    json.key("records");
    way.counts.write(json);
    json.end();
  }
  json.end();
}

void print_json(const Report& report) {
  JsonWriter& json = report.options.json->begin();
  json.member("store", report.conversion.store().string());
  json.member("from", report.conversion.from.text);
  json.member("to", report.conversion.to.text);
  json.member("change", name_of(report.conversion.change()));
  json.member("dry_run", report.options.dry_run);
  json.member("refused", report.refused);
  write_summary(json, report.plan);
  if (!report.options.summary) write_changes(json, report);
  write_outcome(json, report);
  json.member_or_null("snapshot", report.snapshot.string());
  json.member_or_null("earlier_snapshot", report.earlier_snapshot.string());
  json.member_or_null("copy", report.copy.string());
  write_ways_back(json, report.ways_back);
  json.key("unfinished_files");
  json.begin_list();
  for (const std::filesystem::path& file : report.unfinished) json.value(file.string());
  json.end();
  json.member_or_null("problem", report.problem);
  json.member_or_null("reason", report.reason != nullptr ? report.reason : "");
  json.member_or_null("next", report.next);
  json.member("exit", static_cast<unsigned>(report.exit));
  json.end();
}

void print_failures(const char* label, const std::vector<FailedRecord>& failures) {
  constexpr size_t shown_max = 10;
  for (const FailedRecord& record : std::span(failures).first(std::min(failures.size(), shown_max))) {
    std::cout << label << ": " << record.record << ": " << record.reason << '\n';
  }
  if (failures.size() > shown_max) {
    std::cout << label << ": " << failures.size() - shown_max << " more; --json lists all\n";
  }
}

void print_verdict(const Verdict& verdict) {
  const struct {
    const char* label;
    size_t count;
  } rows[] = {{"converted", verdict.converted},
              {"deleted", verdict.deleted},
              {"added", verdict.added.count},
              {"left alone", verdict.left_alone},
              {"failed", verdict.failed.size()}};
  for (const auto& row : rows) {
    std::cout << "  " << std::left << std::setw(11) << row.label << std::right << std::setw(8) << row.count << '\n';
  }
  if (verdict.added.count > 0) std::cout << "added: " << verdict.added.text() << '\n';
  print_failures("failed", verdict.failed);
}

void print_names(const char* heading, const std::map<std::string, NameList>& fields) {
  if (fields.empty()) return;
  std::cout << heading << ":\n";
  for (const auto& [field, names] : fields) {
    std::cout << "  " << std::left << std::setw(27) << field << std::right << std::setw(8) << names.count
              << (names.count == 1 ? " record:  " : " records: ") << names.text() << '\n';
  }
}

void print_plan(const Report& report) {
  const Plan& plan = report.plan;
  if (report.options.dry_run) {
    if (!report.options.summary) {
      for_each_difference(report.dry_run.before(), report.dry_run.after(),
                          [&](const Difference& difference) { print_difference(difference, {report.options.reveal}); });
    }
    std::cout << "Records that would change: " << plan.changes << ". Nothing was changed.\n";
  }
  if (plan.added.count > 0) std::cout << "Would be added: " << plan.added.text() << '\n';
  print_names("Would be lost", plan.lost);
  print_names("Would be lost, which is accepted", plan.accepted);
  print_failures("would fail", plan.failures);
  // A refusal says it in its problem.
  if (report.options.dry_run && !plan.mismatch.empty()) std::cout << "Contradiction: " << plan.mismatch << '\n';
}

void print_text(const Report& report) {
  const Change change = report.conversion.change();
  std::cout << printable(report.conversion.store()) << ": " << report.conversion.from.text << " to "
            << report.conversion.to.text << ": "
            << (change == Change::none ? "no conversion, the store is left as it is" : name_of(change)) << '\n';
  if (report.options.dry_run || report.refused) print_plan(report);
  if (!report.plan.note.empty()) std::cout << "Note: " << report.plan.note << '\n';
  if (report.verdict) print_verdict(*report.verdict);
  if (!report.snapshot.empty()) std::cout << "Snapshot of the library: " << printable(report.snapshot) << '\n';
  if (!report.earlier_snapshot.empty()) {
    std::cout << "Earlier snapshot, kept as: " << printable(report.earlier_snapshot) << '\n';
  }
  if (!report.copy.empty()) std::cout << "Copy of the store as it was: " << printable(report.copy) << '\n';
  if (!report.ways_back.empty()) std::cout << "Ways back, for vrrpconvert restore:\n";
  for (const WayBack& way : report.ways_back) std::cout << "  " << printable(way.text()) << '\n';
  for (const std::filesystem::path& file : report.unfinished) {
    std::cout << unfinished_file_text << printable(file) << '\n';
  }
  if (!report.next.empty()) std::cout << "Next: " << printable(report.next) << '\n';
}

}  // namespace

Exit print(const Report& report) {
  report.options.json != nullptr ? print_json(report) : print_text(report);
  if (!report.problem.empty()) std::cerr << "vrrpconvert: " << printable(report.problem) << '\n';
  return report.exit;
}

}  // namespace vrrpconvert
