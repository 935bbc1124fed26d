#include "tool/conversion/plan.h"

#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

void for_each_loss_in(const Difference& difference, const std::function<void(const Loss&)>& visit) {
  if (difference.before == nullptr) return;
  // A value of no known layout loses what nobody can tell.
  const bool is_unknown = layout_of(*difference.before) == nullptr && has_layouts(kind_of(difference.before->key));
  if (difference.after == nullptr || is_unknown) return visit({*difference.before, whole_record, nullptr});
  for (const FieldChange& change : field_changes(difference, View())) {
    if (change.loses_value) visit({*difference.before, change.name, change.field});
  }
}

std::string text_of(size_t new_ones, size_t old_ones) {
  return std::to_string(new_ones) + " in the new layout and " + std::to_string(old_ones) + " in the old one";
}

// A store that the source release cannot have written: an upgrade would delete records that the target release can
// read.
void compare_releases(const Conversion& conversion, Plan& plan) {
  const size_t new_ones = plan.counts.of("vr", "new") + plan.counts.of("ip_assoc", "new");
  const size_t old_ones = plan.counts.of("vr", "old") + plan.counts.of("ip_assoc", "old");
  const Change change = conversion.change();
  if (change != Change::none && new_ones > 0 && old_ones > 0) {
    plan.mismatch = "the store has records of both layouts, " + text_of(new_ones, old_ones) +
                    ": no release writes that; an earlier conversion may have failed in part";
  } else if (change == Change::upgrade && new_ones > 0) {
    plan.mismatch = "the records are in the new layout, which " + conversion.from.text +
                    " does not write: the store may have been written by a later release";
  } else if (change == Change::downgrade && old_ones > 0) {
    plan.note = "the records are in the old layout already";
  } else if (change == Change::none && (conversion.to.has_old_layout ? new_ones : old_ones) > 0) {
    plan.note = conversion.to.text + " cannot read " +
                std::to_string(conversion.to.has_old_layout ? new_ones : old_ones) +
                " of the records, which are in the " + (conversion.to.has_old_layout ? "new" : "old") + " layout";
  }
}

bool is_lossy_name(const std::string& name) {
  if (name == whole_record) return true;
  for (const Layout& layout : layouts()) {
    for (const Field& field : layout.fields) {
      if (name == field.name) return true;
    }
  }
  return false;
}

}  // namespace

void for_each_loss(const DryRun& dry_run, const std::function<void(const Loss&)>& visit) {
  for_each_difference(dry_run.before(), dry_run.after(),
                      [&](const Difference& difference) { for_each_loss_in(difference, visit); });
}

void check_accepted(const std::set<std::string>& names) {
  for (const std::string& name : names) {
    if (is_lossy_name(name)) continue;
    throw Error(exit_usage,
                "--accept-loss: " + name + " is no field; expected names as the list of what would be lost has them");
  }
}

Plan plan_of(const DryRun& dry_run, const Conversion& conversion, const std::set<std::string>& accepted) {
  Plan plan;
  const Verdict verdict = verdict_of(
      conversion.change(), dry_run.before(), dry_run.after(), dry_run.run(), [&](const Difference& difference) {
        for_each_loss_in(difference, [&](const Loss& loss) {
          (accepted.contains(loss.name) ? plan.accepted : plan.lost)[loss.name].add(name_of(loss.record));
        });
      });
  plan.counts = verdict.counts;
  plan.changes = verdict.changes;
  plan.added = verdict.added;
  plan.failures = verdict.failed;
  compare_releases(conversion, plan);
  return plan;
}

}  // namespace vrrpconvert
