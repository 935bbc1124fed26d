// What a field of a record holds, as JSON and as text for people.
#ifndef TOOL_FIELD_VALUE_H
#define TOOL_FIELD_VALUE_H

#include <span>
#include <string>

#include "tool/record_fields.h"

namespace vrrpconvert {

struct FieldValue {
  enum class Form { unset, number, truth, text, hex };  // hex: bytes that have no text

  Form form;
  uint32 number = 0;   // of a number or a truth
  std::string text{};  // printable ASCII, or hexadecimal digits
  // Whether reading the JSON again gives the field's bytes: an enumeration's number without a word is refused there,
  // and an address has bytes that its text does not tell.
  bool is_exact = true;
};

FieldValue value_of(const Field& field, std::span<const uint8> bytes);

void append_json(const FieldValue& value, std::string& line);

// For people: "-" when it is unset, "(hidden)" for a secret that is not to be revealed.
void append_text(const Field& field, std::span<const uint8> bytes, bool reveal, std::string& text);

}  // namespace vrrpconvert

#endif
