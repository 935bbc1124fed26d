#include "tool/field_value.h"

#include <algorithm>

#include "libconvertvrrp.h"
#include "tool/digits.h"

namespace vrrpconvert {
namespace {

using Form = FieldValue::Form;

FieldValue value_of_address(std::span<const uint8> bytes) {
  if (is_zero(bytes)) return {Form::unset};
  const std::string text = address_text(bytes);
  if (text.empty()) return {Form::hex, 0, hex_of(bytes), false};
  const bool has_rest = number_in(bytes.first(4)) == INET_ADDR_TYPE_IPV4 && !is_zero(bytes.subspan(8));
  return {Form::text, 0, text, !has_rest};
}

// Text is printable and filled up with zero bytes.
FieldValue value_of_bytes(std::span<const uint8> bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), 0);
  const bool is_text = std::all_of(bytes.begin(), end, [](uint8 byte) { return byte >= 0x20 && byte < 0x7f; }) &&
                       std::all_of(end, bytes.end(), [](uint8 byte) { return byte == 0; });
  if (!is_text) return {Form::hex, 0, hex_of(bytes)};
  return {Form::text, 0, std::string(bytes.begin(), end)};
}

// Printable ASCII as a JSON string.
void append_quoted(std::string_view text, std::string& line) {
  line += '"';
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') line += '\\';
    line += letter;
  }
  line += '"';
}

}  // namespace

FieldValue value_of(const Field& field, std::span<const uint8> bytes) {
  switch (field.type) {
    case Type::number:
    case Type::interface:
      return {Form::number, number_in(bytes)};
    case Type::boolean: {
      const uint32 number = number_in(bytes);
      return {number <= 1 ? Form::truth : Form::number, number};
    }
    case Type::low_bit:
      return {Form::truth, bytes[0] & 1u};
    case Type::high_bits:
      return {Form::number, uint32{bytes[0]} >> 1};
    case Type::address:
      return value_of_address(bytes);
    case Type::secret:
    case Type::bytes:
      return value_of_bytes(bytes);
    default: {
      const char* word = word_of(field.type, number_in(bytes));
      if (word == nullptr) return {Form::number, number_in(bytes), "", false};
      return {Form::text, 0, word};
    }
  }
}

void append_json(const FieldValue& value, std::string& line) {
  switch (value.form) {
    case Form::unset:
      line += "null";
      return;
    case Form::number:
      return append_number(value.number, line);
    case Form::truth:
      line += value.number == 1 ? "true" : "false";
      return;
    case Form::text:
      return append_quoted(value.text, line);
    case Form::hex:
      line += "{\"hex\":\"" + value.text + "\"}";
  }
}

void append_text(const Field& field, std::span<const uint8> bytes, bool reveal, std::string& text) {
  if (field.type == Type::secret && !is_zero(bytes) && !reveal) {
    text += "(hidden)";
    return;
  }
  const FieldValue value = value_of(field, bytes);
  switch (value.form) {
    case Form::unset:
      text += '-';
      return;
    case Form::number:
      if (field.type != Type::interface) return append_number(value.number, text);
      text += interface_text(value.number);
      return;
    case Form::truth:
      text += value.number == 1 ? "yes" : "no";
      return;
    case Form::text:
      text += value.text.empty() ? "-" : value.text;
      return;
    case Form::hex:
      text += "hex " + value.text;
  }
}

}  // namespace vrrpconvert
