// What became of every record in a conversion.
#ifndef TOOL_CONVERSION_VERDICT_H
#define TOOL_CONVERSION_VERDICT_H

#include <string>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/store/difference.h"
#include "tool/store/record_counts.h"
#include "tool/store/store.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

struct FailedRecord {
  std::string store_key, record, reason;
};

struct Verdict {
  RecordCounts counts{};  // of the store before
  size_t converted = 0, deleted = 0, left_alone = 0;
  NameList added{};                    // records that were not there
  size_t changes = 0;                  // records that differ from what they were
  std::vector<FailedRecord> failed{};  // records that are not in the state that they should be in
};

// Compares the store `after` a conversion with what it was `before`, and calls `visit` with every difference. The `run`
// only gives reasons.
Verdict verdict_of(
    Change change, const Store& before, const Store& after, const Run& run,
    const std::function<void(const Difference&)>& visit = [](const Difference&) {});

}  // namespace vrrpconvert

#endif
