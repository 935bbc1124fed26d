#include "tool/conversion/dry_run.h"

#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

std::vector<Loss> losses_of(const Difference& difference, bool reveal) {
  if (difference.before == nullptr) return {};
  const std::string key = hex_of(difference.before->key), name = name_of(*difference.before);
  if (difference.after == nullptr) return {{key, name, "", ""}};
  std::vector<Loss> losses;
  for (const FieldChange& change : field_changes(difference, reveal)) {
    if (change.loses_value) losses.push_back({key, name, change.name, change.before});
  }
  return losses;
}

}  // namespace

DryRun::DryRun(const Conversion& real) : scratch_(temporary_directory()) {
  Conversion conversion = real;
  conversion.root = scratch_.path() / "root";
  const fs::path before = scratch_.path() / "before", after = conversion.store();
  fs::create_directories(after.parent_path());
  fs::create_directories(conversion.snapshot().parent_path());
  Store(real.store()).write_copy(before);
  std::error_code error;
  fs::copy_file(before, after, error);  // which is checked when it is opened
  if (error) throw Error(exit_io, after.string() + ": cannot be written: " + error.message() + "; nothing was changed");
  run_ = run_conversion(conversion, {});
  if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
  if (!run_.answered) throw Error(exit_unknown, "the library died on a copy of the store; nothing was changed");
  before_.emplace(before);
  after_.emplace(after);
}

void for_each_loss(const DryRun& dry_run, bool reveal, const std::function<void(const Loss&)>& visit) {
  for_each_difference(dry_run.before(), dry_run.after(), [&](const Difference& difference) {
    for (const Loss& loss : losses_of(difference, reveal)) visit(loss);
  });
}

Plan plan_of(const DryRun& dry_run, Change change) {
  Plan plan;
  const Verdict verdict = verdict_of(change, dry_run.before(), dry_run.after(), dry_run.run(),
                                     [&plan](const Difference& pair) { plan.losses += losses_of(pair, false).size(); });
  plan.changes = verdict.changes;
  plan.failures = verdict.failed;
  return plan;
}

}  // namespace vrrpconvert
