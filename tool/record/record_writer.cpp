// Writes records as lines.

#include <algorithm>

#include "tool/record/field_value.h"
#include "tool/record/record_text.h"

namespace vrrpconvert {
namespace {

// Returns whether parsing the readable form returns the same record, byte for byte.
bool round_trips(const Layout& layout, const StoredRecord& record) {
  return !is_misplaced(record) && std::all_of(layout.fields.begin(), layout.fields.end(), [&](const Field& field) {
    return round_trips(field, field.in(record.value));
  });
}

}  // namespace

void write_record(JsonWriter& json, const StoredRecord& record, bool reveal) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr || !round_trips(*layout, record)) return write_raw_record(json, record, reveal);
  json.begin_object();
  json.member("kind", word_of(layout->kind));
  if (layout->version != Version::only) json.member("layout", word_of(layout->version));
  for (const Field& field : layout->fields) {
    if (field.may_be_left_out() && is_unset(field, record.value)) continue;
    json.key(field.name);
    write_field(json, field, field.in(record.value), reveal);
  }
  json.end();
}

void write_raw_record(JsonWriter& json, const StoredRecord& record, bool reveal) {
  json.begin_object();
  json.key("store_key");
  json.value_in_hex(record.key);
  json.key("value");
  reveal || !has_secret(record) ? json.value_in_hex(record.value) : json.value(hidden);
  json.end();
}

void write_identity(JsonWriter& json, const StoredRecord& record) {
  Json vr_id, ifindex, family;
  if (const auto router = router_of(record)) {
    vr_id = router->vr_id;
    ifindex = router->ifindex;
    if (const char* word = word_of(Type::address_type, router->addr_type)) family = word;
  }
  json.member("vr_id", vr_id);
  json.member("ifindex", ifindex);
  json.member("addr_type", family);
}

}  // namespace vrrpconvert
