// How two stores differ, record by record and field by field.
#ifndef TOOL_DIFFERENCE_H
#define TOOL_DIFFERENCE_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/record_text.h"
#include "tool/store.h"

namespace vrrpconvert {

// One key's record in two stores: `before` is empty for an added one, `after` for a removed one.
struct Difference {
  std::optional<StoredRecord> before;
  std::optional<StoredRecord> after;

  const StoredRecord& either() const { return before ? *before : *after; }
  bool is_change() const { return before && after; }
};

// One field of a changed record; a text is empty where the layout has no such field.
struct FieldChange {
  std::string field;
  std::string before, after;
  Json json_before, json_after;
  bool loses_value;  // it was not zero, and is gone or zero afterwards
};

// Walks both stores in key order and calls `take` for every key of either, or only for those whose records differ.
void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& take);
void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& take);

// What differs in a changed record: its layout, and its fields, but for unset ones that only one layout has. Secrets
// are shown as "(hidden)" unless `reveal`.
std::vector<FieldChange> field_changes(const Difference& difference, bool reveal);

// The difference as text, a line for the record and one for each field, and as JSON.
void print_difference(const Difference& difference, bool reveal);
Json json_of_difference(const Difference& difference, bool reveal);

// A record as JSON; secrets are "(hidden)" unless `reveal`.
Json shown_json_of(const StoredRecord& record, bool reveal);

}  // namespace vrrpconvert

#endif
