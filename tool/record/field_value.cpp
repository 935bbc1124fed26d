#include "tool/record/field_value.h"

#include <algorithm>

#include "libconvertvrrp.h"
#include "tool/record/interface_names.h"
#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

struct FieldValue {
  enum class Form { unset, number, truth, text, hex };  // hex: bytes that are not text

  Form form;
  uint32 number = 0;   // for number and truth
  std::string text{};  // for text and hex: printable ASCII, or hexadecimal digits
};
using Form = FieldValue::Form;

FieldValue value_of_address(std::span<const uint8> bytes) {
  if (is_zero(bytes)) return {Form::unset};
  const std::string text = address_text(bytes);
  return text.empty() ? FieldValue{Form::hex, 0, hex_of(bytes)} : FieldValue{Form::text, 0, text};
}

// Returns text if the bytes are printable and padded with zeros, else hexadecimal digits.
FieldValue value_of_bytes(std::span<const uint8> bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), 0);
  const bool is_text = std::all_of(bytes.begin(), end, [](uint8 byte) { return byte >= 0x20 && byte < 0x7f; }) &&
                       std::all_of(end, bytes.end(), [](uint8 byte) { return byte == 0; });
  if (!is_text) return {Form::hex, 0, hex_of(bytes)};
  return {Form::text, 0, std::string(bytes.begin(), end)};
}

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
    case Type::secret: {
      const FieldValue value = value_of_bytes(bytes);
      return value.text == hidden ? FieldValue{Form::hex, 0, hex_of(bytes)} : value;
    }
    case Type::bytes:
      return value_of_bytes(bytes);
    default: {
      const char* word = word_of(field.type, number_in(bytes));
      return word != nullptr ? FieldValue{Form::text, 0, word} : FieldValue{Form::number, number_in(bytes)};
    }
  }
}

bool is_hidden(const Field& field, std::span<const uint8> bytes, bool reveal) {
  return field.type == Type::secret && !reveal && !is_zero(bytes);
}

}  // namespace

bool round_trips(const Field& field, std::span<const uint8> bytes) {
  if (field.type == Type::address) {
    const uint32 type = number_in(bytes.first(4));
    return is_zero(bytes) || type == INET_ADDR_TYPE_IPV6 || (type == INET_ADDR_TYPE_IPV4 && is_zero(bytes.subspan(8)));
  }
  return words_of(field.type).empty() || word_of(field.type, number_in(bytes)) != nullptr;
}

void write_field(JsonWriter& json, const Field& field, std::span<const uint8> bytes, bool reveal) {
  if (is_hidden(field, bytes, reveal)) return json.value(hidden);
  const FieldValue value = value_of(field, bytes);
  switch (value.form) {
    case Form::unset:
      return json.value(nullptr);
    case Form::number:
      return json.value(value.number);
    case Form::truth:
      return json.value(value.number == 1);
    case Form::text:
      return json.value(value.text);
    case Form::hex:
      json.begin_object();
      json.member("hex", value.text);
      json.end();
  }
}

void append_text(const Field& field, std::span<const uint8> bytes, bool reveal, std::string& text) {
  if (is_hidden(field, bytes, reveal)) {
    text += hidden;
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

std::string text_in(const Bytes& value, const Field& field, bool reveal) {
  std::string text;
  if (field.offset < value.size()) append_text(field, field.in(value), reveal, text);
  return text;
}

}  // namespace vrrpconvert
