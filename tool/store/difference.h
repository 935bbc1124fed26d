// How two stores differ, record by record and field by field.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/record/record_fields.h"
#include "tool/store/store.h"
#include "tool/support/json_writer.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

// One key's record in two stores: `before` is null for an added one, `after` for a removed one.
struct Difference {
  const StoredRecord* before;
  const StoredRecord* after;

  const StoredRecord& either() const { return before != nullptr ? *before : *after; }
  bool is_change() const { return before != nullptr && after != nullptr; }
  bool is_none() const { return is_change() && before->value == after->value; }
  const char* name() const { return is_change() ? "changed" : before != nullptr ? "removed" : "added"; }
};

// One field of a changed record: "layout", a field of a layout, or "value" where a layout is not known.
struct FieldChange {
  const char* name;
  const Field* field;         // null for "layout" and "value"
  std::string before, after;  // as text for users; empty if the layout does not have the field
};

// Walks both stores in key order and calls `visit` for every key of either, or only for those whose records differ. The
// records last until `visit` returns.
void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit);
void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit);

struct View {
  bool reveal = false;         // secrets, which are "(hidden)" otherwise
  bool ignore_layout = false;  // only what both layouts have
};

// What differs in a changed record: its layout, and its fields, but for unset ones that only one layout has.
std::vector<FieldChange> field_changes(const Difference& difference, const View& view);

// Calls `visit` with the differences that the view shows: not with those of the layout alone if it ignores the layout.
void for_each_shown(const Store& before, const Store& after, const View& view,
                    const std::function<void(const Difference&)>& visit);

// The records that differ, by "added", "changed" and "removed".
NamesByWord names_of_differences(const Store& before, const Store& after, const View& view);

// The difference as text, a line for the record and one for each field, and as JSON.
std::string text_of(const Difference& difference, const View& view);
void write_difference(JsonWriter& json, const Difference& difference, const View& view);

}  // namespace vrrpconvert
