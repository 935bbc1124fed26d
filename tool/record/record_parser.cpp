// Parses lines to records.

#include <arpa/inet.h>

#include <charconv>
#include <cstring>

#include "libconvertvrrp.h"
#include "tool/record/field_value.h"
#include "tool/record/json_members.h"
#include "tool/record/record_fields.h"
#include "tool/record/record_text.h"

namespace vrrpconvert {
namespace {

uint32 number_of(const Json& json, uint32 max) {
  if (!json.is_number_unsigned() || json.get<uint64_t>() > max) {
    throw BadRecord("expected a number from 0 to " + std::to_string(max));
  }
  return json.get<uint32>();
}

// Returns the value of a hexadecimal digit, or -1.
int digit_of(char letter) {
  if (letter >= '0' && letter <= '9') return letter - '0';
  const char lower = static_cast<char>(letter | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

Bytes bytes_of_hex(const Json* json) {
  const char* expected = "expected pairs of hexadecimal digits";
  if (json == nullptr) throw BadRecord("missing field");
  if (!json->is_string()) throw BadRecord(expected);
  const auto& hex = json->get_ref<const std::string&>();
  if (hex.size() % 2 != 0) throw BadRecord(expected);
  Bytes bytes(hex.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const int high = digit_of(hex[2 * i]), low = digit_of(hex[2 * i + 1]);
    if (high < 0 || low < 0) throw BadRecord(expected);
    bytes[i] = static_cast<uint8>(high << 4 | low);
  }
  return bytes;
}

uint32 number_of_word(Type type, const Json& json) {
  std::string expected = "expected one of";
  for (const Word& word : words_of(type)) {
    if (json.is_string() && json.get_ref<const std::string&>() == word.text) return word.value;
    expected += std::string(" \"") + word.text + "\"";
  }
  throw BadRecord(expected);
}

inet_addr_t address_of(const Json& json) {
  inet_addr_t address = {};
  if (json.is_null()) return address;
  if (!json.is_string()) throw BadRecord("expected an IPv4 or IPv6 address, or null");
  const auto& text = json.get_ref<const std::string&>();
  uint8 a[16] = {};
  const char* start = text.find('\0') == std::string::npos ? text.c_str() : "";  // inet_pton would ignore the rest
  if (inet_pton(AF_INET, start, a) == 1) {
    address.addr_type = INET_ADDR_TYPE_IPV4;
  } else if (inet_pton(AF_INET6, start, a) == 1) {
    address.addr_type = INET_ADDR_TYPE_IPV6;
  } else {
    throw BadRecord("\"" + text + "\" is neither an IPv4 nor an IPv6 address");
  }
  memcpy(&address.a, a, sizeof a);
  return address;
}

Bytes bytes_of(const Json& json, size_t size) {
  Bytes bytes;
  if (json.is_object() && json.size() == 1 && json.contains("hex")) {
    bytes = bytes_of_hex(&json["hex"]);
    if (bytes.size() != size) throw BadRecord("expected " + std::to_string(size) + " bytes");
  } else if (json.is_string()) {
    const auto& text = json.get_ref<const std::string&>();
    bytes.assign(text.begin(), text.end());
    if (bytes.size() > size) throw BadRecord("expected at most " + std::to_string(size) + " bytes");
    bytes.resize(size);
  } else {
    throw BadRecord("expected a text or {\"hex\": \"...\"}");
  }
  return bytes;
}

bool is_text(const Json* json, const char* text) {
  return json != nullptr && json->is_string() && json->get_ref<const std::string&>() == text;
}

void json_to_field(const Field& field, const Json& json, uint8* place) {
  const auto put_number = [&](uint32 number) { memcpy(place, &number, field.size); };
  const uint32 max = field.size == 1 ? 0xff : 0xffffffff;
  switch (field.type) {
    case Type::number:
    case Type::interface:
      return put_number(number_of(json, max));
    case Type::boolean:
      return put_number(json.is_boolean() ? json.get<bool>() : number_of(json, max));
    case Type::low_bit:
      if (!json.is_boolean()) throw BadRecord("expected true or false");
      *place = static_cast<uint8>((*place & 0xfe) | (json.get<bool>() ? 1 : 0));
      return;
    case Type::high_bits:
      *place = static_cast<uint8>((*place & 1) | number_of(json, 0x7f) << 1);
      return;
    case Type::address: {
      const inet_addr_t address = address_of(json);
      memcpy(place, &address, sizeof address);
      return;
    }
    case Type::secret:
      if (is_text(&json, hidden)) {
        throw BadRecord("\"(hidden)\" replaces an authentication key; run export, or show with --reveal");
      }
      [[fallthrough]];
    case Type::bytes:
      memcpy(place, bytes_of(json, field.size).data(), field.size);
      return;
    default:
      return put_number(number_of_word(field.type, json));
  }
}

const Layout& layout_in(JsonMembers& members) {
  const Json* kind = members.take("kind");
  const Json* layout = members.take("layout");
  bool kind_is_known = false;
  for (const Layout& candidate : layouts()) {
    if (!is_text(kind, word_of(candidate.kind))) continue;
    kind_is_known = true;
    if (candidate.version == Version::only ? layout == nullptr : is_text(layout, word_of(candidate.version))) {
      return candidate;
    }
  }
  if (!kind_is_known) {
    throw BadRecord(
        "field \"kind\": expected \"vr\", \"ip_assoc\" or \"global_info\" (or a raw record, with "
        "\"store_key\" and \"value\")");
  }
  throw BadRecord(is_text(kind, "global_info") ? "field \"layout\": a global info record has no layout"
                                               : "field \"layout\": expected \"old\" or \"new\"");
}

// Runs `read` and adds the name of the field to its errors.
template <typename Read>
auto in_field(const char* name, Read read) {
  try {
    return read();
  } catch (const BadRecord& error) {
    throw BadRecord(std::string("field \"") + name + "\": " + error.what());
  }
}

StoredRecord record_of_readable(JsonMembers& members) {
  const Layout& layout = layout_in(members);
  Bytes value(layout.size, 0);
  for (const Field& field : layout.fields) {
    const Json* json = members.take(field.name);
    if (json != nullptr) {
      in_field(field.name, [&] { json_to_field(field, *json, value.data() + field.offset); });
    } else if (!field.may_be_left_out()) {
      throw BadRecord("field \"" + std::string(field.name) + "\": missing field");
    }
  }
  members.refuse_others();
  return {expected_key(layout, value), value};
}

StoredRecord record_of_raw(const Json* key, JsonMembers& members) {
  StoredRecord record;
  record.key = in_field("store_key", [&] { return bytes_of_hex(key); });
  record.value = in_field("value", [&] { return bytes_of_hex(members.take("value")); });
  members.refuse_others();
  if (record.key.empty()) throw BadRecord("field \"store_key\": expected at least one byte");
  return record;
}

Json json_of_text(Type type, const std::string& text) {
  if (type == Type::boolean || type == Type::low_bit) {
    if (text == "yes" || text == "true") return true;
    if (text == "no" || text == "false") return false;
  }
  const bool is_hex = type == Type::interface && text.starts_with("0x");
  uint32 number = 0;
  const auto [end, error] =
      std::from_chars(text.data() + (is_hex ? 2 : 0), text.data() + text.size(), number, is_hex ? 16 : 10);
  const bool is_whole = error == std::errc() && end == text.data() + text.size();
  return is_whole && type != Type::bytes && type != Type::secret ? Json(number) : Json(text);
}

}  // namespace

Bytes field_of_text(const Field& field, const std::string& text) {
  Bytes value(field.size, 0);
  json_to_field(field, json_of_text(field.type, text), value.data());
  return value;
}

StoredRecord record_of_line(std::string_view line) {
  JsonMembers members(line);
  const Json* store_key = members.take("store_key");
  return store_key != nullptr ? record_of_raw(store_key, members) : record_of_readable(members);
}

}  // namespace vrrpconvert
