#include "tool/conversion/outcome.h"

#include "platform/syserr.h"
#include "tool/support/digits.h"
#include "tool/support/progress.h"

namespace vrrpconvert {
namespace {

enum class RecordOutcome { converted, deleted, added, unchanged, failed };

RecordOutcome outcome_of_record(Change change, const Difference& pair) {
  if (change == Change::none || !has_layouts(kind_of(pair.either().key))) {
    return pair.is_none() ? RecordOutcome::unchanged : RecordOutcome::failed;
  }
  if (change == Change::upgrade) return pair.after != nullptr ? RecordOutcome::failed : RecordOutcome::deleted;
  if (pair.after == nullptr || !is_downgraded(pair.either(), pair.after->value)) return RecordOutcome::failed;
  if (pair.before == nullptr) return RecordOutcome::added;
  return pair.is_none() ? RecordOutcome::unchanged : RecordOutcome::converted;
}

std::string reason_for(Change change, const Difference& pair, const Run& run) {
  const Layout* layout = pair.before != nullptr ? layout_of(*pair.before) : nullptr;
  if (pair.before != nullptr && is_misplaced(*pair.before)) {
    return "misplaced record: the library finds a record only under its expected key";
  }
  if (pair.before != nullptr && layout == nullptr && has_layouts(kind_of(pair.before->key))) {
    const size_t size = pair.before->value.size();
    return "unknown layout: " + std::to_string(size) + (size == 1 ? " byte" : " bytes");
  }
  const auto failure = run.failures.find(hex_of(pair.either().key));
  if (failure != run.failures.end()) {
    return std::string("cannot ") + (change == Change::upgrade ? "delete" : "store") +
           " the record: " + syserr2str(failure->second);
  }
  if (!pair.is_none()) return "unexpected content after the conversion";
  if (!run.returned) return "the library process ended before it stored the change of this record";
  if (run.open_status != 0) return std::string("cannot open the store: ") + syserr2str(run.open_status);
  if (run.close_status != 0) return std::string("cannot close the store: ") + syserr2str(run.close_status);
  return "the change was not stored, for an unknown reason; the disk may be failing";
}

void add_pair(Outcome& outcome, const Conversion& conversion, const Difference& pair, const Run& run) {
  const Change change = conversion.change();
  const auto name = [&pair] { return name_of(pair.either()); };
  if (pair.before != nullptr) outcome.counts.add(*pair.before);
  const auto is_enabled = [](const StoredRecord* record) {
    return record != nullptr && !record->value.empty() && record->value[0] != 0;
  };
  if (kind_of(pair.either().key) == Kind::global_info && !is_enabled(pair.before) && is_enabled(pair.after)) {
    outcome.enables_vrrp = true;
  }
  if (!pair.is_none()) {
    ++outcome.change_count;
    for_each_loss(pair, conversion.defaults, [&](const Loss& loss) {
      (loss.default_value.empty() ? outcome.lost[loss.name] : outcome.defaults[loss.default_value]).add(name);
    });
  }
  if (change == Change::upgrade && kind_of(pair.either().key) == Kind::track) outcome.without_vr.add(name);
  switch (outcome_of_record(change, pair)) {
    case RecordOutcome::converted:
      ++outcome.converted;
      break;
    case RecordOutcome::deleted:
      ++outcome.deleted;
      break;
    case RecordOutcome::added:
      outcome.added.add(name);
      break;
    case RecordOutcome::unchanged:
      ++outcome.unchanged;
      break;
    case RecordOutcome::failed:
      outcome.failures.push_back({hex_of(pair.either().key), name_of(pair.either()), reason_for(change, pair, run)});
  }
}

}  // namespace

Outcome outcome_of(const Conversion& conversion, const Store& before, const Store& after, const Run& run) {
  Outcome outcome;
  Progress progress("Comparing, records", 0);
  size_t compared = 0;
  for_each_pair(before, after, [&](const Difference& pair) {
    progress.show(++compared);
    add_pair(outcome, conversion, pair, run);
  });
  return outcome;
}

Outcome outcome_of_none(const Store& store) {
  Outcome outcome;
  outcome.is_already = true;
  outcome.counts = count_records(store);
  outcome.unchanged = outcome.counts.total();
  return outcome;
}

bool is_converted_already(const Conversion& conversion, const Outcome& foreseen) {
  const Change change = conversion.change();
  const RecordCounts& counts = foreseen.counts;
  // Such an upgrade would delete all these records.
  if (change == Change::upgrade && conversion.to.has_old_layout) return false;
  if (change == Change::downgrade && !(foreseen.lost.empty() && foreseen.defaults.empty())) return false;
  const size_t all = counts.routers();
  return all > 0 && all == counts.with_layout(conversion.to.has_old_layout ? Version::old_one : Version::new_one);
}

}  // namespace vrrpconvert
