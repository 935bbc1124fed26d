// The value of a field of a record, as JSON and as text.
#pragma once

#include <span>
#include <string>

#include "tool/record/record_fields.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

// Returns whether the JSON of the field is exact. It is not if an enumeration has a number without a word, or an
// address has bytes that its text does not show.
bool round_trips(const Field& field, std::span<const uint8> bytes);

// The text that replaces a secret. A secret with this text is written in hexadecimal, and the parser refuses the text.
inline constexpr char hidden[] = "(hidden)";

// Both write "(hidden)" for a secret unless `reveal` is set. The text of an unset field is "-".
void write_field(JsonWriter& json, const Field& field, std::span<const uint8> bytes, bool reveal);
void append_text(const Field& field, std::span<const uint8> bytes, bool reveal, std::string& text);

// Returns the text of a field in `value`, or an empty text if the value is too short to have the field.
std::string text_in(const Bytes& value, const Field& field, bool reveal);

}  // namespace vrrpconvert
