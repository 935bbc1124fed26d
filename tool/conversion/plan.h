// What a conversion would do to a store, in figures and names that a person can decide on.
#ifndef TOOL_CONVERSION_PLAN_H
#define TOOL_CONVERSION_PLAN_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tool/conversion/dry_run.h"
#include "tool/conversion/verdict.h"
#include "tool/store/record_counts.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

// Names of fields whose values may be lost; this one stands for records that go as a whole.
inline constexpr char whole_record[] = "record";

struct Loss {
  const StoredRecord& record;  // as it is now
  const char* name;
  const Field* field;  // null for a whole record
};

// Calls `visit` with every loss, in key order.
void for_each_loss(const DryRun& dry_run, const std::function<void(const Loss&)>& visit);

// Throws Error unless losses can be of these names.
void check_accepted(const std::set<std::string>& names);

struct Plan {
  RecordCounts counts;                       // of the records as they are
  size_t changes = 0;                        // records that would change
  std::map<std::string, NameList> lost;      // by field: records that would lose its value
  std::map<std::string, NameList> accepted;  // the same, of fields whose loss is accepted
  NameList added;                            // records that would be new
  std::vector<FailedRecord> failures;        // records that would not be in the state that they should be in
  std::string mismatch;                      // how the releases contradict the records; empty where they do not
  std::string note;                          // what else there is to know about them
};

Plan plan_of(const DryRun& dry_run, const Conversion& conversion, const std::set<std::string>& accepted);

}  // namespace vrrpconvert

#endif
