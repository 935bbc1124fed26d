// Differences between two stores, by record and field.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/record/record_fields.h"
#include "tool/store/store.h"
#include "tool/support/json_writer.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

// The records of one key in two stores. `before` is null for an added record, `after` for a removed record.
struct Difference {
  const StoredRecord* before;
  const StoredRecord* after;

  const StoredRecord& either() const { return before != nullptr ? *before : *after; }
  bool is_change() const { return before != nullptr && after != nullptr; }
  bool is_none() const { return is_change() && before->value == after->value; }
  const char* name() const { return is_change() ? "changed" : before != nullptr ? "removed" : "added"; }
};

// A field of a changed record: "layout", a field of a layout, or "value" if a layout is unknown.
struct FieldChange {
  const char* name;
  const Field* field;         // null for "layout" and "value"
  std::string before, after;  // text; empty if the layout does not have the field
};

// Walks both stores in key order and calls `visit` for every key, or only for keys whose records differ. The records
// are valid until `visit` returns.
void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit);
void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit);

struct View {
  bool reveal = false;         // show secrets instead of "(hidden)"
  bool ignore_layout = false;  // compare only the fields that both layouts have
  bool content = false;        // show the fields of added and removed records
  size_t fields_max = 0;       // number of changed fields that names_of_differences adds to the name of a record
};

// Returns the changed fields of a record, its layout included. Skips unset fields that only one layout has.
std::vector<FieldChange> field_changes(const Difference& difference, const View& view);

// Calls `visit` with the differences that the view shows. If it ignores the layout, skips records that differ only in
// their layout.
void for_each_shown(const Store& before, const Store& after, const View& view,
                    const std::function<void(const Difference&)>& visit);

// Records that differ, by "added", "changed" and "removed".
NamesByWord names_of_differences(const Store& before, const Store& after, const View& view);

// Write a difference as text, one line for the record and one per field, and as JSON.
std::string text_of(const Difference& difference, const View& view);
void write_difference(JsonWriter& json, const Difference& difference, const View& view);

}  // namespace vrrpconvert
