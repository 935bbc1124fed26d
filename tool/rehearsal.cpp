#include "tool/rehearsal.h"

#include "tool/digits.h"
#include "tool/error.h"
#include "tool/store.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

std::vector<Loss> losses_of(const Difference& difference, bool reveal) {
  if (difference.before == nullptr) return {};
  const std::string key = hex_of(difference.before->key), name = name_of(*difference.before);
  if (difference.after == nullptr) return {{key, name, "", ""}};
  std::vector<Loss> losses;
  for (const FieldChange& field : field_changes(difference, reveal)) {
    if (field.loses_value) losses.push_back({key, name, field.field, field.before});
  }
  return losses;
}

}  // namespace

Rehearsal::Rehearsal(const Conversion& real) : workplace_(temporary_folder()), rehearsed_(real) {
  rehearsed_.root = workplace_.path() / "root";
  const fs::path before = workplace_.path() / "before", after = rehearsed_.store();
  {
    const Store store(real.store());
    fs::create_directories(after.parent_path());
    fs::create_directories(rehearsed_.root / "tmp");
    // From here on the private folder is below what the platform takes for its root.
    set_nonvolatile_root("/");
    store.write_copy(before);
    store.write_copy(after);
    records_ = store.count();
  }
  run_ = run_conversion(rehearsed_, Trace::kept_private, "", 0);
  if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
  if (!run_.answered) throw Error(exit_unknown, "the library died on a copy of the store; nothing was changed");
  before_.emplace(before);
  after_.emplace(after);
}

void for_each_loss(const Rehearsal& rehearsal, bool reveal, const std::function<void(const Loss&)>& take) {
  for_each_difference(rehearsal.before(), rehearsal.after(), [&](const Difference& difference) {
    for (const Loss& loss : losses_of(difference, reveal)) take(loss);
  });
}

Plan plan_of(const Rehearsal& rehearsal, Change change) {
  Plan plan;
  for_each_difference(rehearsal.before(), rehearsal.after(), [&plan](const Difference& difference) {
    ++plan.changes;
    plan.losses += losses_of(difference, false).size();
  });
  plan.failures = judge(change, rehearsal.before(), rehearsal.after(), rehearsal.run()).failed;
  return plan;
}

}  // namespace vrrpconvert
