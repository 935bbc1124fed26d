#include "tool/conversion_report.h"

#include <iomanip>
#include <iostream>

#include "tool/json_report.h"

namespace vrrpconvert {
namespace {

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

Json json_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

void print_json(const Report& report) {
  const bool reveal = report.options.reveal;
  JsonReport json;
  json.add("store", report.conversion.store().string());
  json.add("from", report.conversion.from.text);
  json.add("to", report.conversion.to.text);
  json.add("change", name_of(report.conversion.change()));
  json.add("dry_run", report.options.dry_run);
  json.add("refused", report.refused);
  json.begin_list("changes");
  for_each_difference(report.rehearsal.before(), report.rehearsal.after(),
                      [&](const Difference& difference) { json.add_item(json_of_difference(difference, reveal)); });
  json.end_list();
  json.begin_list("losses");
  for_each_loss(report.rehearsal, reveal, [&](const Loss& loss) {
    json.add_item(dumped({{"store_key", loss.store_key},
                          {"record", loss.record},
                          {"field", json_or_null(loss.field)},
                          {"value", json_or_null(loss.value)}}));
  });
  json.end_list();
  json.add("failures", json_of(report.plan.failures));
  json.add("outcome", report.verdict ? report.verdict->json() : Json());
  json.add("snapshot", json_or_null(report.snapshot.string()));
  json.add("copy", json_or_null(report.copy.string()));
  json.add("problem", json_or_null(report.problem));
  json.add("next", json_or_null(report.next));
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

void print_text(const Report& report) {
  std::cout << report.conversion.store().string() << ": " << report.conversion.from.text << " to "
            << report.conversion.to.text << ": "
            << (report.conversion.change() == Change::none ? "no conversion, the store is left as it is"
                                                           : name_of(report.conversion.change()))
            << '\n';
  if (report.options.dry_run) {
    for_each_difference(report.rehearsal.before(), report.rehearsal.after(),
                        [&](const Difference& difference) { print_difference(difference, report.options.reveal); });
    std::cout << "Records that would change: " << report.plan.changes << ". Nothing was changed.\n";
  }
  if ((report.options.dry_run || report.refused) && report.plan.losses > 0) {
    std::cout << "Would be lost:\n";
    for_each_loss(report.rehearsal, report.options.reveal, print_loss);
  }
  if (report.options.dry_run || report.refused) print_failures("would fail", report.plan.failures);
  if (report.verdict) print_verdict(*report.verdict);
  if (!report.snapshot.empty()) std::cout << "Snapshot of the library: " << report.snapshot.string() << '\n';
  if (!report.copy.empty()) std::cout << "Copy of the store as it was: " << report.copy.string() << '\n';
  if (!report.next.empty()) std::cout << "Next: " << report.next << '\n';
}

}  // namespace

Exit print(const Report& report) {
  report.options.json ? print_json(report) : print_text(report);
  if (!report.problem.empty()) std::cerr << "vrrpconvert: " << report.problem << '\n';
  return report.exit;
}

}  // namespace vrrpconvert
