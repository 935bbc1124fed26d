#include "tool/conversion/defaults.h"

#include <algorithm>

#include "tool/conversion/loss.h"
#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

const Field* field_in(const Layout& layout, const std::string& name) {
  for (const Field& field : layout.fields) {
    if (name == field.name) return &field;
  }
  return nullptr;
}

// Returns the first layout that has the field, or null.
const Layout* layout_with(const std::string& name) {
  for (const Layout& layout : layouts()) {
    if (field_in(layout, name) != nullptr) return &layout;
  }
  return nullptr;
}

}  // namespace

void Defaults::add(const std::string& text) {
  const size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  const std::vector<std::string> names = names_of_losses();
  if (equals == std::string::npos || std::find(names.begin() + 1, names.end(), name) == names.end()) {
    throw Error(Reason::usage, "--default: \"" + text +
                                   "\" is not FIELD=VALUE with a field that the old layout does not " +
                                   "have; for example, lower_threshold_prio=0 or upper_threshold_prio=prio");
  }
  const Layout* layout = layout_with(name);
  const Field& field = *field_in(*layout, name);
  const std::string right = text.substr(equals + 1);
  const Field* other = field_in(*layout, right);
  if (defaults_.contains(name)) throw Error(Reason::usage, "--default: " + name + " has two default values; give one");
  if (other != nullptr && (right == name || other->type != field.type)) {
    throw Error(Reason::usage, "--default: " + text + ": expected a value, or another field of the same type");
  }
  if (other != nullptr) {
    defaults_[name] = {.other = right, .text = text};
    return;
  }
  try {
    Field alone = field;
    alone.offset = 0;
    defaults_[name] = {.value = text_in(field_of_text(field, right), alone, true), .text = text};
  } catch (const BadRecord& error) {
    throw Error(Reason::usage, "--default: " + text + ": neither another field nor a value: " + error.what());
  }
}

std::string Defaults::text_for(const StoredRecord& record, const Field& field) const {
  const auto found = defaults_.find(field.name);
  if (found == defaults_.end()) return {};
  const Layout* layout = layout_of(record);
  const Field* other = layout != nullptr ? field_in(*layout, found->second.other) : nullptr;
  if (other == nullptr && !found->second.other.empty()) return {};
  const std::string value = text_in(record.value, field, true);
  const bool is_equal = value == (other != nullptr ? text_in(record.value, *other, true) : found->second.value);
  return is_equal ? found->second.text : "";
}

}  // namespace vrrpconvert
