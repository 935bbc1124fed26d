#include "tool/store/difference.h"

#include <algorithm>
#include <compare>

#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/support/digits.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

// The text of a hidden secret that differs from another hidden secret.
constexpr char hidden_too[] = "(hidden, differs)";

// If one of the records has an unknown layout, compares both as one field, the whole value.
FieldChange value_change(const Difference& difference, bool reveal) {
  const StoredRecord &before = *difference.before, &after = *difference.after;
  const bool hides = !reveal && (is_secret_throughout(before) || is_secret_throughout(after));
  return {"value", nullptr, hides ? hidden : hex_of(before.value), hides ? hidden_too : hex_of(after.value)};
}

bool has_field(const Bytes& value, const Field& field) { return field.offset < value.size(); }

// The longer layout has all fields of the shorter one. Bit fields are compared bit by bit.
bool is_equal(const Field& field, const Bytes& before, const Bytes& after) {
  if (!is_set(field, before) && !is_set(field, after)) return true;
  if (!has_field(before, field) || !has_field(after, field)) return false;
  const auto a = field.in(before), b = field.in(after);
  return std::equal(a.begin(), a.end(), b.begin()) ||
         (field.size == 1 && text_in(before, field, true) == text_in(after, field, true));
}

void write_value(JsonWriter& json, const FieldChange& change, const Bytes& value, const std::string& text,
                 bool reveal) {
  if (change.field == nullptr || text == hidden_too) return json.value(text);
  has_field(value, *change.field) ? write_field(json, *change.field, change.field->in(value), reveal)
                                  : json.value(nullptr);
}

void write_field_change(JsonWriter& json, const FieldChange& change, const Difference& difference, bool reveal) {
  json.begin_object();
  json.member("field", change.name);
  json.key("before");
  write_value(json, change, difference.before->value, change.before, reveal);
  json.key("after");
  write_value(json, change, difference.after->value, change.after, reveal);
  json.end();
}

// Returns one line per set field, or one for the value if the layout is unknown.
std::string text_of_content(const StoredRecord& record, bool reveal) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr) {
    return std::string("    value: ") + (!reveal && has_secret(record) ? hidden : hex_of(record.value)) + '\n';
  }
  std::string text;
  for (const Field& field : layout->fields) {
    if (is_unset(field, record.value)) continue;
    text += std::string("    ") + field.name + ": " + text_in(record.value, field, reveal) + '\n';
  }
  return text;
}

// Returns " (prio 200 -> 210, adv 1 -> 2, ...)" for a changed record.
std::string text_of_fields(const Difference& difference, const View& view) {
  std::string text;
  if (!difference.is_change() || view.fields_max == 0) return text;
  const std::vector<FieldChange> changes = field_changes(difference, view);
  for (size_t i = 0; i < changes.size() && i < view.fields_max; ++i) {
    text += (i == 0 ? " (" : ", ") + (changes[i].name + (" " + changes[i].before)) + " -> " + changes[i].after;
  }
  return text + (changes.size() > view.fields_max ? ", ...)" : ")");
}

}  // namespace

void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit) {
  // Two walks of one store would share its cursor.
  if (&before == &after) return before.for_each([&visit](const StoredRecord& record) { visit({&record, &record}); });
  StoredRecord left, right;
  bool is_left = before.first(left), is_right = after.first(right);
  while (is_left || is_right) {
    const auto order = !is_left    ? std::strong_ordering::greater
                       : !is_right ? std::strong_ordering::less
                                   : left.key <=> right.key;
    visit({order <= 0 ? &left : nullptr, order >= 0 ? &right : nullptr});
    if (order <= 0) is_left = before.next(left);
    if (order >= 0) is_right = after.next(right);
  }
}

void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& visit) {
  for_each_pair(before, after, [&visit](const Difference& pair) {
    if (!pair.is_none()) visit(pair);
  });
}

std::vector<FieldChange> field_changes(const Difference& difference, const View& view) {
  const Bytes &before = difference.before->value, &after = difference.after->value;
  const Layout* old_layout = layout_of(*difference.before);
  const Layout* new_layout = layout_of(*difference.after);
  if (old_layout == nullptr || new_layout == nullptr) return {value_change(difference, view.reveal)};
  std::vector<FieldChange> changes;
  if (old_layout != new_layout && !view.ignore_layout) {
    changes.push_back({"layout", nullptr, word_of(old_layout->version), word_of(new_layout->version)});
  }
  for (const Field& field : (before.size() > after.size() ? old_layout : new_layout)->fields) {
    if (is_equal(field, before, after)) continue;
    if (view.ignore_layout && (!has_field(before, field) || !has_field(after, field))) continue;
    changes.push_back({field.name, &field, text_in(before, field, view.reveal), text_in(after, field, view.reveal)});
    FieldChange& change = changes.back();
    if (field.type == Type::secret && change.before == change.after) change.after = hidden_too;
  }
  return changes;
}

void for_each_shown(const Store& before, const Store& after, const View& view,
                    const std::function<void(const Difference&)>& visit) {
  for_each_difference(before, after, [&](const Difference& difference) {
    if (view.ignore_layout && difference.is_change() && field_changes(difference, view).empty()) return;
    visit(difference);
  });
}

NamesByWord names_of_differences(const Store& before, const Store& after, const View& view) {
  NamesByWord names;
  for_each_shown(before, after, view, [&](const Difference& difference) {
    names[difference.name()].add([&] { return name_of(difference.either()) + text_of_fields(difference, view); });
  });
  return names;
}

std::string text_of(const Difference& difference, const View& view) {
  const std::string name = name_of(difference.either()) + "  (key " + hex_of(difference.either().key) + ")";
  if (!difference.is_change()) {
    const bool is_added = difference.before == nullptr;
    return styled(is_added ? Style::green : Style::red, (is_added ? "+ " : "- ") + name) + '\n' +
           (view.content ? text_of_content(difference.either(), view.reveal) : "");
  }
  std::string text = styled(Style::yellow, "~ " + name) + '\n';
  for (const FieldChange& change : field_changes(difference, view)) {
    text += std::string("    ") + change.name + ": " + (change.before.empty() ? "(no such field)" : change.before) +
            " -> " + (change.after.empty() ? "(dropped)" : change.after) + '\n';
  }
  return text;
}

void write_difference(JsonWriter& json, const Difference& difference, const View& view) {
  json.begin_object();
  json.member("store_key", hex_of(difference.either().key));
  json.member("record", name_of(difference.either()));
  json.member("change", difference.name());
  if (difference.is_change()) {
    json.key("fields");
    json.begin_list();
    for (const FieldChange& change : field_changes(difference, view)) {
      write_field_change(json, change, difference, view.reveal);
    }
    json.end();
  } else {
    json.key("content");
    write_record(json, difference.either(), view.reveal);
  }
  json.end();
}

}  // namespace vrrpconvert
