// What became of every record in a conversion.
#ifndef TOOL_VERDICT_H
#define TOOL_VERDICT_H

#include <string>
#include <vector>

#include "tool/conversion.h"
#include "tool/difference.h"
#include "tool/json.h"
#include "tool/store.h"

namespace vrrpconvert {

struct FailedRecord {
  std::string store_key, record, reason;
};

Json json_of(const std::vector<FailedRecord>& failed);

struct Verdict {
  size_t converted = 0, deleted = 0, added = 0, left_alone = 0;
  std::vector<FailedRecord> failed;  // records that are not in the state that they should be in

  Json json() const;
};

// Judges the store `after` a conversion by what it was `before`. The `run` only serves to tell reasons.
Verdict judge(Change change, const Store& before, const Store& after, const Run& run);

}  // namespace vrrpconvert

#endif
