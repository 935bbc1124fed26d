#include "tool/conversion_report.h"

#include <iomanip>
#include <iostream>

namespace vrrpconvert {
namespace {

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

Json json_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

void print_json(const Report& report) {
  Json changes = Json::array(), losses = Json::array();
  for (const PlannedChange& change : report.plan.changes) {
    changes.push_back(Json::parse(json_of_difference(change.difference(), report.options.reveal)));
  }
  for (const Loss& loss : report.plan.losses) {
    losses.push_back({{"store_key", loss.store_key},
                      {"record", loss.record},
                      {"field", json_or_null(loss.field)},
                      {"value", json_or_null(loss.value)}});
  }
  std::cout << dumped({{"schema", 1},
                       {"store", report.conversion.store().string()},
                       {"from", report.conversion.from.text},
                       {"to", report.conversion.to.text},
                       {"change", name_of(report.conversion.change())},
                       {"dry_run", report.options.dry_run},
                       {"refused", report.refused},
                       {"changes", changes},
                       {"losses", losses},
                       {"failures", json_of(report.plan.failures)},
                       {"outcome", report.verdict ? report.verdict->json() : Json()},
                       {"snapshot", json_or_null(report.snapshot.string())},
                       {"copy", json_or_null(report.copy.string())},
                       {"problem", json_or_null(report.problem)},
                       {"next", json_or_null(report.next)}})
            << '\n';
}

void print_losses(const Plan& plan) {
  for (const Loss& loss : plan.losses) {
    if (loss.field.empty()) {
      std::cout << "  " << loss.record << "  (key " << loss.store_key << "): the whole record\n";
    } else {
      std::cout << "  " << loss.record << "  (key " << loss.store_key << "): " << loss.field << " = " << loss.value
                << '\n';
    }
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
    for (const PlannedChange& change : report.plan.changes) {
      print_difference(change.difference(), report.options.reveal);
    }
    std::cout << "Records that would change: " << report.plan.changes.size() << ". Nothing was changed.\n";
  }
  if ((report.options.dry_run || report.refused) && !report.plan.losses.empty()) {
    std::cout << "Would be lost:\n";
    print_losses(report.plan);
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
