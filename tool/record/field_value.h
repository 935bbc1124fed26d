// What a field of a record holds, as JSON and as text for users.
#pragma once

#include <span>
#include <string>

#include "tool/record/record_fields.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

// Whether reading the field's JSON gives its bytes: an enumeration's number without a word is refused there, and an
// address may have bytes that its text does not show.
bool round_trips(const Field& field, std::span<const uint8> bytes);

// What stands for a secret. A secret of this very text is written in hexadecimal, and refused when it is read.
inline constexpr char hidden[] = "(hidden)";

// Both show "(hidden)" for a secret unless `reveal`. The text of an unset field is "-".
void write_field(JsonWriter& json, const Field& field, std::span<const uint8> bytes, bool reveal);
void append_text(const Field& field, std::span<const uint8> bytes, bool reveal, std::string& text);

// The text of a field in a value, empty if the value is too short to have it.
std::string text_in(const Bytes& value, const Field& field, bool reveal);

}  // namespace vrrpconvert
