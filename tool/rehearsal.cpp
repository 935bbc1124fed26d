#include "tool/rehearsal.h"

#include "tool/digits.h"
#include "tool/error.h"
#include "tool/store.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

Rehearsal::Rehearsal(const Conversion& real) : workplace_(temporary_folder()), rehearsed_(real) {
  rehearsed_.root = workplace_.path() / "root";
  {
    const Store store(real.store());
    fs::create_directories(rehearsed_.store().parent_path());
    fs::create_directories(rehearsed_.root / "tmp");
    // From here on the private folder is below what the platform takes for its root.
    set_nonvolatile_root("/");
    store.write_copy(before());
    store.write_copy(after());
    records_ = store.count();
  }
  run_ = run_conversion(rehearsed_, Trace::kept_private, "", 0);
  if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
  if (!run_.answered) throw Error(exit_unknown, "the library died on a copy of the store; nothing was changed");
}

Plan plan_of(const Rehearsal& rehearsal, Change change, bool reveal) {
  Plan plan;
  const Store before(rehearsal.before()), after(rehearsal.after());
  for_each_difference(before, after, [&](const Difference& difference) {
    plan.changes.emplace_back();
    if (difference.before != nullptr) plan.changes.back().before = *difference.before;
    if (difference.after != nullptr) plan.changes.back().after = *difference.after;
    if (difference.before == nullptr) return;
    const std::string key = hex_of(difference.before->key), name = name_of(*difference.before);
    if (difference.after == nullptr) {
      plan.losses.push_back({key, name, "", ""});
      return;
    }
    for (const FieldChange& field : field_changes(difference, reveal)) {
      if (field.loses_value) plan.losses.push_back({key, name, field.field, field.before});
    }
  });
  plan.failures = judge(change, before, after, rehearsal.run()).failed;
  return plan;
}

}  // namespace vrrpconvert
