#include "tool/difference.h"

#include <algorithm>
#include <iostream>

#include "tool/digits.h"
#include "tool/field_value.h"
#include "tool/record_text.h"
#include "tool/style.h"

namespace vrrpconvert {
namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

FieldChange text_change(const char* field, const std::string& before, const std::string& after) {
  return {field, before, after, quoted(before), quoted(after), false};
}

// A record of a layout that the tool does not know has one field, its whole value; so has what it is compared with.
FieldChange value_change(const Difference& difference, bool reveal) {
  if (!reveal && (is_secret_throughout(*difference.before) || is_secret_throughout(*difference.after))) {
    return text_change("value", "(hidden)", "(hidden)");
  }
  return text_change("value", hex_of(difference.before->value), hex_of(difference.after->value));
}

// Compares the fields of two values. The longer layout has all fields of the shorter one.
class FieldComparison {
 public:
  FieldComparison(const Field& field, const Bytes& before, const Bytes& after)
      : field_(field),
        before_(before),
        after_(after),
        was_there_(field.offset < before.size()),
        is_there_(field.offset < after.size()) {}

  bool is_change() const {
    if (!has_value(was_there_, before_) && !has_value(is_there_, after_)) return false;
    if (!was_there_ || !is_there_) return true;
    const auto before = field_.in(before_), after = field_.in(after_);
    if (std::equal(before.begin(), before.end(), after.begin())) return false;
    return json(true, before_) != json(true, after_);  // bits of one byte are fields of their own
  }

  FieldChange change(bool reveal) const {
    return {field_.name,
            text(was_there_, before_, reveal),
            text(is_there_, after_, reveal),
            shown_json(was_there_, before_, reveal),
            shown_json(is_there_, after_, reveal),
            has_value(was_there_, before_) && !has_value(is_there_, after_)};
  }

 private:
  bool has_value(bool there, const Bytes& value) const { return there && !is_unset(field_, value); }

  std::string text(bool there, const Bytes& value, bool reveal) const {
    std::string text;
    if (there) append_text(field_, field_.in(value), reveal, text);
    return text;
  }

  std::string json(bool there, const Bytes& value) const {
    std::string json;
    if (!there) return "null";
    append_json(value_of(field_, field_.in(value)), json);
    return json;
  }

  std::string shown_json(bool there, const Bytes& value, bool reveal) const {
    const bool is_hidden = !reveal && field_.type == Type::secret && has_value(there, value);
    return is_hidden ? "\"(hidden)\"" : json(there, value);
  }

  const Field& field_;
  const Bytes &before_, &after_;
  bool was_there_, is_there_;
};

}  // namespace

void for_each_pair(const Store& before, const Store& after, const std::function<void(const Difference&)>& take) {
  StoredRecord left, right;
  bool is_left = before.first(left), is_right = after.first(right);
  while (is_left || is_right) {
    const auto order = !is_left    ? std::strong_ordering::greater
                       : !is_right ? std::strong_ordering::less
                                   : left.key <=> right.key;
    take({order <= 0 ? &left : nullptr, order >= 0 ? &right : nullptr});
    if (order <= 0) is_left = before.next(left);
    if (order >= 0) is_right = after.next(right);
  }
}

void for_each_difference(const Store& before, const Store& after, const std::function<void(const Difference&)>& take) {
  for_each_pair(before, after, [&take](const Difference& pair) {
    if (!pair.is_none()) take(pair);
  });
}

std::vector<FieldChange> field_changes(const Difference& difference, bool reveal) {
  const Bytes &before = difference.before->value, &after = difference.after->value;
  const Layout* old_layout = layout_of(*difference.before);
  const Layout* new_layout = layout_of(*difference.after);
  if (old_layout == nullptr || new_layout == nullptr) return {value_change(difference, reveal)};
  std::vector<FieldChange> changes;
  if (old_layout != new_layout) changes.push_back(text_change("layout", old_layout->layout, new_layout->layout));
  for (const Field& field : (before.size() > after.size() ? old_layout : new_layout)->fields) {
    const FieldComparison comparison(field, before, after);
    if (comparison.is_change()) changes.push_back(comparison.change(reveal));
  }
  return changes;
}

void print_difference(const Difference& difference, bool reveal) {
  const std::string name = name_of(difference.either()) + "  (key " + hex_of(difference.either().key) + ")";
  if (difference.before == nullptr) {
    std::cout << styled(Style::green, "+ " + name) << '\n';
    return;
  }
  if (difference.after == nullptr) {
    std::cout << styled(Style::red, "- " + name) << '\n';
    return;
  }
  std::cout << styled(Style::yellow, "~ " + name) << '\n';
  for (const FieldChange& change : field_changes(difference, reveal)) {
    std::cout << "    " << change.field << ": " << (change.before.empty() ? "(no such field)" : change.before) << " -> "
              << (change.after.empty() ? "(dropped)" : change.after) << '\n';
  }
}

std::string json_of_difference(const Difference& difference, bool reveal) {
  std::string json = "{\"store_key\":\"" + hex_of(difference.either().key) + "\",\"record\":\"" +
                     name_of(difference.either()) + "\",\"change\":\"" + change_of(difference) + '"';
  if (!difference.is_change()) return json + ",\"content\":" + line_of(difference.either(), reveal) + '}';
  json += ",\"fields\":[";
  bool is_first = true;
  for (const FieldChange& change : field_changes(difference, reveal)) {
    json += std::string(is_first ? "" : ",") + "{\"field\":\"" + change.field + "\",\"before\":" + change.json_before +
            ",\"after\":" + change.json_after + '}';
    is_first = false;
  }
  return json + "]}";
}

const char* change_of(const Difference& difference) {
  return difference.is_change() ? "changed" : difference.before != nullptr ? "removed" : "added";
}

}  // namespace vrrpconvert
