// The summary of a dry run for the operator's decision. Its size does not depend on the number of records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/conversion/outcome.h"

namespace vrrpconvert {

// From 1.0.0 on, do not rename members: saved reports have them.
struct Summary {
  RecordCounts counts;             // before the conversion
  size_t change_count = 0;         // records that would change
  NamesByWord lost{}, accepted{};  // by field; losses that the operator accepts are only in `accepted`
  NamesByWord defaults{};          // dropped values that the target release assumes, by "FIELD=VALUE"
  NameList added{};
  bool enables_vrrp = false;
  NameList without_vr{};     // track records whose VR configuration is deleted
  NamesByWord failing{};     // by reason
  size_t failure_count = 0;  // records that would fail
  std::string mismatch{};    // between the releases and the records
  std::string note{};

  // Returns whether the conversion would do nothing.
  bool is_empty() const { return change_count == 0 && failure_count == 0; }

  JSON_MEMBERS(counts, change_count, lost, accepted, defaults, added, enables_vrrp, without_vr, failing, failure_count,
               mismatch, note)
};

// Returns the heading of a member that contains records by word.
const char* heading_of(std::string_view member);

Summary summary_of(const Conversion& conversion, const Outcome& foreseen);

// Move the losses of `accepted` fields, or all losses, from `lost` to `accepted`.
void accept_losses(const std::vector<std::string>& accepted, Summary& summary);
void accept_all_losses(Summary& summary);

}  // namespace vrrpconvert
