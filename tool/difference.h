// How two stores differ, record by record and field by field.
#ifndef TOOL_DIFFERENCE_H
#define TOOL_DIFFERENCE_H

#include <functional>
#include <string>
#include <vector>

#include "tool/record_fields.h"
#include "tool/store.h"

namespace vrrpconvert {

// One key's record in two stores: `before` is null for an added one, `after` for a removed one.
struct Difference {
  const StoredRecord* before;
  const StoredRecord* after;

  const StoredRecord& either() const { return before != nullptr ? *before : *after; }
  bool is_change() const { return before != nullptr && after != nullptr; }
  bool is_none() const { return is_change() && *before == *after; }
};

// One field of a changed record, as text for people (empty where the layout has no such field) and as JSON.
struct FieldChange {
  const char* field;
  std::string before, after;
  std::string json_before, json_after;
  bool loses_value;  // it was not zero, and is gone or zero afterwards
};

// Walks both stores in key order and calls `take` for every key of either, or only for those whose records differ. The
// records last until `take` returns.
void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& take);
void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& take);

// What differs in a changed record: its layout, and its fields, but for unset ones that only one layout has. Secrets
// are shown as "(hidden)" unless `reveal`.
std::vector<FieldChange> field_changes(const Difference& difference, bool reveal);

// The difference as text, a line for the record and one for each field, and as JSON with the member "change" in it.
void print_difference(const Difference& difference, bool reveal);
std::string json_of_difference(const Difference& difference, bool reveal);

// "added", "removed" or "changed".
const char* change_of(const Difference& difference);

}  // namespace vrrpconvert

#endif
