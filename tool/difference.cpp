#include "tool/difference.h"

#include <cstring>
#include <iostream>

#include "tool/style.h"

namespace vrrpconvert {
namespace {

// A record of a layout that the tool does not know has one field, its whole value.
std::vector<FieldChange> value_change(const Difference& difference) {
  const std::string before = hex_of(difference.before->value), after = hex_of(difference.after->value);
  return {{"value", before, after, before, after, false}};
}

const Field* field_named(const Layout& layout, const char* name) {
  for (const Field& field : layout.fields) {
    if (strcmp(field.name, name) == 0) return &field;
  }
  return nullptr;
}

struct Shown {
  std::string text;
  Json json;
};

Shown shown(const Field* field, const Bytes& value, bool reveal) {
  if (field == nullptr) return {"", nullptr};
  const std::string text = text_of_field(*field, field->in(value), reveal);
  return {text, text == "(hidden)" ? Json(text) : json_of_field(*field, field->in(value))};
}

}  // namespace

void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& take) {
  auto left = before.first(), right = after.first();
  while (left || right) {
    const bool has_left = left && (!right || left->key <= right->key);
    const bool has_right = right && (!left || right->key <= left->key);
    take({has_left ? left : std::nullopt, has_right ? right : std::nullopt});
    if (has_left) left = before.next();
    if (has_right) right = after.next();
  }
}

void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& take) {
  for_each_pair(before, after, [&take](const Difference& pair) {
    if (pair.before != pair.after) take(pair);
  });
}

std::vector<FieldChange> field_changes(const Difference& difference, bool reveal) {
  const Bytes &before = difference.before->value, &after = difference.after->value;
  const Layout* old_layout = layout_of(*difference.before);
  const Layout* new_layout = layout_of(*difference.after);
  if (old_layout == nullptr || new_layout == nullptr) return value_change(difference);
  std::vector<FieldChange> changes;
  if (old_layout != new_layout) {
    changes.push_back(
        {"layout", old_layout->layout, new_layout->layout, old_layout->layout, new_layout->layout, false});
  }
  // The longer layout has all fields of the shorter one.
  for (const Field& field : (before.size() > after.size() ? old_layout : new_layout)->fields) {
    const bool was_there = field_named(*old_layout, field.name) != nullptr;
    const bool is_there = field_named(*new_layout, field.name) != nullptr;
    const bool had_value = was_there && !is_unset(field, before);
    const bool has_value = is_there && !is_unset(field, after);
    if (!had_value && !has_value) continue;
    if (was_there && is_there && json_of_field(field, field.in(before)) == json_of_field(field, field.in(after)))
      continue;
    const Shown old_shown = shown(was_there ? &field : nullptr, before, reveal);
    const Shown new_shown = shown(is_there ? &field : nullptr, after, reveal);
    changes.push_back(
        {field.name, old_shown.text, new_shown.text, old_shown.json, new_shown.json, had_value && !has_value});
  }
  return changes;
}

void print_difference(const Difference& difference, bool reveal) {
  const std::string name = name_of(difference.either()) + "  (key " + hex_of(difference.either().key) + ")";
  if (!difference.before) {
    std::cout << styled(Style::green, "+ " + name) << '\n';
    return;
  }
  if (!difference.after) {
    std::cout << styled(Style::red, "- " + name) << '\n';
    return;
  }
  std::cout << styled(Style::yellow, "~ " + name) << '\n';
  for (const FieldChange& change : field_changes(difference, reveal)) {
    std::cout << "    " << change.field << ": " << (change.before.empty() ? "(no such field)" : change.before) << " -> "
              << (change.after.empty() ? "(dropped)" : change.after) << '\n';
  }
}

Json json_of_difference(const Difference& difference, bool reveal) {
  Json json = {{"store_key", hex_of(difference.either().key)}, {"record", name_of(difference.either())}};
  if (!difference.is_change()) {
    json["content"] = shown_json_of(difference.either(), reveal);
    return json;
  }
  json["fields"] = Json::array();
  for (const FieldChange& change : field_changes(difference, reveal)) {
    json["fields"].push_back({{"field", change.field}, {"before", change.json_before}, {"after", change.json_after}});
  }
  return json;
}

Json shown_json_of(const StoredRecord& record, bool reveal) {
  Json json = json_of(record);
  const Layout* layout = layout_of(record);
  if (reveal || layout == nullptr) return json;
  for (const Field& field : layout->fields) {
    if (field.type != Type::secret || is_unset(field, record.value)) continue;
    if (json.contains(field.name)) {
      json[field.name] = "(hidden)";
    } else {
      json["value"] = "(hidden)";  // the raw form would show it among the other bytes
    }
  }
  return json;
}

}  // namespace vrrpconvert
