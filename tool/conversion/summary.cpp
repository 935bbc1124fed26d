#include "tool/conversion/summary.h"

#include <algorithm>
#include <iterator>

namespace vrrpconvert {
namespace {

// Sets the mismatch: the source release does not write these records, or the upgrade would delete records that the
// target release can read. Sets the note if the target release cannot read the records and there is no conversion.
void compare_releases(const Conversion& conversion, Summary& summary) {
  const size_t new_ones = summary.counts.with_layout(Version::new_one);
  const size_t old_ones = summary.counts.with_layout(Version::old_one);
  const Change change = conversion.change();
  if (change != Change::none && new_ones > 0 && old_ones > 0) {
    summary.mismatch = "the store contains both layouts (" + std::to_string(new_ones) + " new, " +
                       std::to_string(old_ones) +
                       " old), which no release writes; an earlier conversion may be incomplete";
  } else if (change == Change::upgrade && new_ones > 0) {
    summary.mismatch = "the records are in the new layout, which " + conversion.from.text +
                       " does not write; a later release may have written the store";
  } else if (change == Change::upgrade && conversion.to.has_old_layout && summary.change_count > 0) {
    summary.mismatch = conversion.from.text + " and " + conversion.to.text +
                       " both read the old layout; the upgrade would delete records that " + conversion.to.text +
                       " can read";
  } else if (change == Change::none && (conversion.to.has_old_layout ? new_ones : old_ones) > 0) {
    summary.note = conversion.to.text + " cannot read " +
                   std::to_string(conversion.to.has_old_layout ? new_ones : old_ones) + " records that are in the " +
                   (conversion.to.has_old_layout ? "new" : "old") + " layout";
  }
}

}  // namespace

const char* heading_of(std::string_view member) {
  constexpr struct {
    std::string_view member;
    const char* heading;
  } headings[] = {{"lost", "Would be lost"},
                  {"accepted", "Would be lost, accepted"},
                  {"defaults", "Would be dropped, default values"},
                  {"failing", "Would fail"},
                  {"differences", "Records that differ from the backup"}};
  const auto found = std::find_if(std::begin(headings), std::end(headings),
                                  [member](const auto& heading) { return heading.member == member; });
  return found != std::end(headings) ? found->heading : "";
}

Summary summary_of(const Conversion& conversion, const Outcome& foreseen) {
  Summary summary = {.counts = foreseen.counts,
                     .change_count = foreseen.change_count,
                     .lost = foreseen.lost,
                     .defaults = foreseen.defaults,
                     .added = foreseen.added,
                     .enables_vrrp = foreseen.enables_vrrp,
                     .without_vr = foreseen.without_vr,
                     .failure_count = foreseen.failures.size()};
  for (const FailedRecord& failure : foreseen.failures) {
    summary.failing[failure.reason].add([&failure] { return failure.record; });
  }
  if (!foreseen.is_already) compare_releases(conversion, summary);
  return summary;
}

void accept_losses(const std::vector<std::string>& accepted, Summary& summary) {
  for (const std::string& field : accepted) {
    if (auto node = summary.lost.extract(field)) summary.accepted.insert(std::move(node));
  }
}

void accept_all_losses(Summary& summary) { summary.accepted.merge(summary.lost); }

}  // namespace vrrpconvert
