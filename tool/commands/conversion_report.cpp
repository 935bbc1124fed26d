#include "tool/commands/conversion_report.h"

#include <iomanip>
#include <iostream>

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

void write_outcome(JsonWriter& json, const std::optional<Verdict>& verdict) {
  if (!verdict) return json.member("outcome", nullptr);
  json.key("outcome");
  json.begin_object();
  json.member("converted", verdict->converted);
  json.member("deleted", verdict->deleted);
  json.member("added", verdict->added);
  json.member("left_alone", verdict->left_alone);
  write_failures(json, "failed", verdict->failed);
  json.end();
}

void write_changes(JsonWriter& json, const Report& report) {
  json.key("changes");
  json.begin_list();
  for_each_difference(report.dry_run.before(), report.dry_run.after(),
                      [&](const Difference& difference) { write_difference(json, difference, report.options.reveal); });
  json.end();
  json.key("losses");
  json.begin_list();
  for_each_loss(report.dry_run, report.options.reveal, [&](const Loss& loss) {
    json.begin_object();
    json.member("store_key", loss.store_key);
    json.member("record", loss.record);
    json.member_or_null("field", loss.field);
    json.member_or_null("value", loss.value);
    json.end();
  });
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
  write_changes(json, report);
  write_failures(json, "failures", report.plan.failures);
  write_outcome(json, report.verdict);
  json.member_or_null("snapshot", report.snapshot.string());
  json.member_or_null("earlier_snapshot", report.earlier_snapshot.string());
  json.member_or_null("copy", report.copy.string());
  json.member_or_null("problem", report.problem);
  json.member_or_null("next", report.next);
  json.end();
}

void print_loss(const Loss& loss) {
  std::cout << "  " << loss.record << "  (key " << loss.store_key << "): ";
  if (loss.field.empty()) {
    std::cout << "the whole record\n";
  } else {
    std::cout << loss.field << " = " << loss.value << '\n';
  }
}

void print_failures(const char* label, const std::vector<FailedRecord>& failures) {
  for (const FailedRecord& record : failures) {
    std::cout << label << ": " << record.record << "  (key " << record.store_key << "): " << record.reason << '\n';
  }
}

void print_verdict(const Verdict& verdict) {
  const struct {
    const char* label;
    size_t count;
  } rows[] = {{"converted", verdict.converted},
              {"deleted", verdict.deleted},
              {"added", verdict.added},
              {"left alone", verdict.left_alone},
              {"failed", verdict.failed.size()}};
  for (const auto& row : rows) {
    std::cout << "  " << std::left << std::setw(11) << row.label << std::right << std::setw(8) << row.count << '\n';
  }
  print_failures("failed", verdict.failed);
}

void print_plan(const Report& report) {
  if (report.options.dry_run) {
    for_each_difference(report.dry_run.before(), report.dry_run.after(),
                        [&](const Difference& difference) { print_difference(difference, report.options.reveal); });
    std::cout << "Records that would change: " << report.plan.changes << ". Nothing was changed.\n";
  }
  if (report.plan.losses > 0) {
    std::cout << "Would be lost:\n";
    for_each_loss(report.dry_run, report.options.reveal, print_loss);
  }
  print_failures("would fail", report.plan.failures);
}

void print_text(const Report& report) {
  const Change change = report.conversion.change();
  std::cout << report.conversion.store().string() << ": " << report.conversion.from.text << " to "
            << report.conversion.to.text << ": "
            << (change == Change::none ? "no conversion, the store is left as it is" : name_of(change)) << '\n';
  if (report.options.dry_run || report.refused) print_plan(report);
  if (report.verdict) print_verdict(*report.verdict);
  if (!report.snapshot.empty()) std::cout << "Snapshot of the library: " << report.snapshot.string() << '\n';
  if (!report.earlier_snapshot.empty()) {
    std::cout << "Earlier snapshot, kept as: " << report.earlier_snapshot.string() << '\n';
  }
  if (!report.copy.empty()) std::cout << "Copy of the store as it was: " << report.copy.string() << '\n';
  if (!report.next.empty()) std::cout << "Next: " << report.next << '\n';
}

}  // namespace

Exit print(const Report& report) {
  report.options.json != nullptr ? print_json(report) : print_text(report);
  if (!report.problem.empty()) std::cerr << "vrrpconvert: " << report.problem << '\n';
  return report.exit;
}

}  // namespace vrrpconvert
