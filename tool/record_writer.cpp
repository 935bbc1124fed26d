// Records to lines.

#include <algorithm>

#include "tool/digits.h"
#include "tool/field_value.h"
#include "tool/record_text.h"

namespace vrrpconvert {
namespace {

bool is_hidden(const Field& field, const Bytes& value, bool reveal) {
  return !reveal && field.type == Type::secret && !is_unset(field, value);
}

std::string raw_line(const StoredRecord& record, bool hide_value) {
  std::string line = "{\"store_key\":\"";
  append_hex(record.key, line);
  line += "\",\"value\":\"";
  if (hide_value) {
    line += "(hidden)";
  } else {
    append_hex(record.value, line);
  }
  return line += "\"}";
}

// Returns false where a field would not be read back as it is.
bool append_field(const Field& field, const Bytes& bytes, bool reveal, std::string& line) {
  line += ",\"";
  line += field.name;
  line += "\":";
  const FieldValue value = value_of(field, field.in(bytes));
  if (is_hidden(field, bytes, reveal)) {
    line += "\"(hidden)\"";
  } else {
    append_json(value, line);
  }
  return value.is_exact;
}

}  // namespace

std::string line_of(const StoredRecord& record, bool reveal) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr) return raw_line(record, !reveal && is_secret_throughout(record));
  std::string line = std::string("{\"kind\":\"") + layout->kind + '"';
  if (layout->layout != nullptr) line += std::string(",\"layout\":\"") + layout->layout + '"';
  bool is_exact = own_key(*layout, record.value) == record.key;
  for (const Field& field : layout->fields) {
    if (field.may_be_left_out() && is_unset(field, record.value)) continue;
    is_exact = append_field(field, record.value, reveal, line) && is_exact;
  }
  if (is_exact) return line += '}';
  // The raw form would show a secret among the other bytes.
  return raw_line(record, std::any_of(layout->fields.begin(), layout->fields.end(),
                                      [&](const Field& field) { return is_hidden(field, record.value, reveal); }));
}

std::string raw_line_of(const StoredRecord& record) { return raw_line(record, false); }

}  // namespace vrrpconvert
