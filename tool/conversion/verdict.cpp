#include "tool/conversion/verdict.h"

#include <cstring>

#include "platform/syserr.h"
#include "tool/support/digits.h"
#include "tool/support/progress.h"

namespace vrrpconvert {
namespace {

// What a downgrade makes of a value.
Bytes downgraded_value(const StoredRecord& record) {
  const std::string kind = kind_of(record.key);
  Bytes value = kind == "global_info" ? Bytes{1} : record.value;
  for (const Layout& layout : layouts()) {
    const bool is_target = layout.layout == nullptr || strcmp(layout.layout, "old") == 0;
    if (kind == layout.kind && is_target) value.resize(layout.size);
  }
  return value;
}

enum class Fate { converted, deleted, added, left_alone, failed };

Fate fate_of(Change change, const Difference& pair) {
  if (change == Change::none || !has_layouts(kind_of(pair.either().key))) {
    return pair.is_none() ? Fate::left_alone : Fate::failed;
  }
  if (change == Change::upgrade) return pair.after != nullptr ? Fate::failed : Fate::deleted;
  if (pair.after == nullptr) return Fate::failed;
  if (pair.after->value != downgraded_value(pair.either())) return Fate::failed;
  if (pair.before == nullptr) return Fate::added;
  return pair.is_none() ? Fate::left_alone : Fate::converted;
}

std::string reason_for(Change change, const Difference& pair, const Run& run) {
  const Layout* layout = pair.before != nullptr ? layout_of(*pair.before) : nullptr;
  if (layout != nullptr && expected_key(*layout, pair.before->value) != pair.before->key) {
    return "it is misplaced: the library finds a record only under its expected key";
  }
  if (pair.before != nullptr && layout == nullptr && has_layouts(kind_of(pair.before->key))) {
    return "its value of " + std::to_string(pair.before->value.size()) + " bytes is of no known layout";
  }
  const auto failure = run.failures.find(pair.either().key);
  if (failure != run.failures.end()) {
    return std::string(change == Change::upgrade ? "deleting" : "storing") +
           " it failed: " + syserr2str(failure->second);
  }
  if (!pair.is_none()) return "its content is not what the conversion makes of it";
  if (!run.answered) return "the library died before its change was kept";
  if (run.open_status != 0) return std::string("the store could not be opened: ") + syserr2str(run.open_status);
  if (run.close_status != 0) return std::string("the store could not be closed: ") + syserr2str(run.close_status);
  return "its change was not kept, for an unknown reason: the device may be failing";
}

}  // namespace

Verdict verdict_of(Change change, const Store& before, const Store& after, const Run& run,
                   const std::function<void(const Difference&)>& visit) {
  Verdict verdict;
  Progress progress("Comparing, records", 0);
  size_t compared = 0;
  for_each_pair(before, after, [&](const Difference& pair) {
    progress.show(++compared);
    if (pair.before != nullptr) verdict.counts.add(*pair.before);
    if (!pair.is_none()) {
      ++verdict.changes;
      visit(pair);
    }
    switch (fate_of(change, pair)) {
      case Fate::converted:
        ++verdict.converted;
        break;
      case Fate::deleted:
        ++verdict.deleted;
        break;
      case Fate::added:
        verdict.added.add(name_of(pair.either()));
        break;
      case Fate::left_alone:
        ++verdict.left_alone;
        break;
      case Fate::failed:
        verdict.failed.push_back({hex_of(pair.either().key), name_of(pair.either()), reason_for(change, pair, run)});
    }
  });
  return verdict;
}

}  // namespace vrrpconvert
