#include "tool/record_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>

#include "libconvertvrrp.h"
#include "tool/record_fields.h"

namespace vrrpconvert {
namespace {

bool may_be_left_out(const Field& field) {
  return strcmp(field.name, "reserved") == 0 || field.type == Type::high_bits;
}

// ---- Fields to JSON ----

Json boolean_to_json(uint32 number) { return number <= 1 ? Json(number == 1) : Json(number); }

// A number has no word in the readable form: the raw form carries such a record.
Json word_to_json(Type type, uint32 value) {
  const char* word = word_of(type, value);
  return word != nullptr ? Json(word) : Json(value);
}

// Null for an unset address. One that has no text is shown, but only the raw form carries it.
Json address_to_json(std::span<const uint8> bytes) {
  if (is_zero(bytes)) return nullptr;
  const std::string text = address_text(bytes);
  return text.empty() ? Json({{"hex", hex_of(bytes)}}) : Json(text);
}

Json bytes_to_json(std::span<const uint8> bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), 0);
  const bool is_text = std::all_of(bytes.begin(), end, [](uint8 byte) { return byte >= 0x20 && byte < 0x7f; }) &&
                       std::all_of(end, bytes.end(), [](uint8 byte) { return byte == 0; });
  if (is_text) return std::string(bytes.begin(), end);
  return {{"hex", hex_of(bytes)}};
}

// ---- JSON to fields ----

uint32 number_of(const Json& json, uint32 max) {
  if (!json.is_number_unsigned() || json.get<uint64_t>() > max) {
    throw BadRecord("expected a number from 0 to " + std::to_string(max));
  }
  return json.get<uint32>();
}

Bytes bytes_of_hex(const Json& json) {
  const char* expected = "expected pairs of hexadecimal digits";
  if (!json.is_string()) throw BadRecord(expected);
  const auto& hex = json.get_ref<const std::string&>();
  if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw BadRecord(expected);
  }
  Bytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<uint8>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

uint32 number_of_word(Type type, const Json& json) {
  std::string expected = "expected one of";
  for (const Word& word : words_of(type)) {
    if (json.is_string() && json == word.text) return word.value;
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
  if (inet_pton(AF_INET, text.c_str(), a) == 1) {
    address.addr_type = INET_ADDR_TYPE_IPV4;
  } else if (inet_pton(AF_INET6, text.c_str(), a) == 1) {
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
    bytes = bytes_of_hex(json["hex"]);
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
    case Type::bytes:
      memcpy(place, bytes_of(json, field.size).data(), field.size);
      return;
    default:
      return put_number(number_of_word(field.type, json));
  }
}

// ---- Records ----

const Layout& layout_in(const Json& json) {
  const Json kind = json.value("kind", Json());
  const Json layout = json.value("layout", Json());
  bool kind_is_known = false;
  for (const Layout& candidate : layouts()) {
    if (kind != candidate.kind) continue;
    kind_is_known = true;
    if (layout == (candidate.layout != nullptr ? Json(candidate.layout) : Json())) return candidate;
  }
  if (!kind_is_known) {
    throw BadRecord(
        "field \"kind\": expected \"vr\", \"ip_assoc\" or \"global_info\" (or a raw record, with "
        "\"store_key\" and \"value\")");
  }
  throw BadRecord(kind == "global_info" ? "field \"layout\": a global info record has none"
                                        : "field \"layout\": expected \"old\" or \"new\"");
}

// Runs `read`, with the name of the field that it reads in front of what it throws.
template <typename Read>
auto in_field(const std::string& name, Read read) {
  try {
    return read();
  } catch (const BadRecord& error) {
    throw BadRecord("field \"" + name + "\": " + error.what());
  }
}

void refuse_other_fields(const Json& json, const std::set<std::string>& known) {
  for (const auto& [name, value] : json.items()) {
    if (known.count(name) == 0) throw BadRecord("field \"" + name + "\": there is no such field in this record");
  }
}

StoredRecord record_of_readable(const Json& json) {
  const Layout& layout = layout_in(json);
  std::set<std::string> known = {"kind", "layout"};
  Bytes value(layout.size, 0);
  for (const Field& field : layout.fields) {
    known.insert(field.name);
    if (json.contains(field.name)) {
      in_field(field.name, [&] { json_to_field(field, json[field.name], value.data() + field.offset); });
    } else if (!may_be_left_out(field)) {
      throw BadRecord("field \"" + std::string(field.name) + "\": is missing");
    }
  }
  refuse_other_fields(json, known);
  return {own_key(layout, value), value};
}

StoredRecord record_of_raw(const Json& json) {
  refuse_other_fields(json, {"store_key", "value"});
  StoredRecord record;
  record.key = in_field("store_key", [&] { return bytes_of_hex(json.value("store_key", Json())); });
  record.value = in_field("value", [&] { return bytes_of_hex(json.value("value", Json())); });
  if (record.key.empty()) throw BadRecord("field \"store_key\": expected at least one byte");
  return record;
}

// Parses one line; a field that stands in it twice would lose one of its values.
Json parse(const std::string& line) {
  std::set<std::string> seen;
  const auto refuse_twice = [&seen](int depth, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::key && depth == 1 && !seen.insert(parsed.get<std::string>()).second) {
      throw BadRecord("field \"" + parsed.get<std::string>() + "\": stands here twice");
    }
    return true;
  };
  try {
    return Json::parse(line, refuse_twice);
  } catch (const Json::parse_error& error) {
    throw BadRecord("not JSON, at column " + std::to_string(error.byte) + "; expected one record a line");
  } catch (const Json::out_of_range&) {
    throw BadRecord("a number in it is too large; expected one record a line");
  }
}

Json readable(const Layout& layout, const Bytes& value) {
  Json json = {{"kind", layout.kind}};
  if (layout.layout != nullptr) json["layout"] = layout.layout;
  for (const Field& field : layout.fields) {
    if (!may_be_left_out(field) || !is_unset(field, value)) json[field.name] = json_of_field(field, field.in(value));
  }
  return json;
}

Json raw(const StoredRecord& record) { return {{"store_key", hex_of(record.key)}, {"value", hex_of(record.value)}}; }

}  // namespace

std::string dumped(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json json_of_field(const Field& field, std::span<const uint8> bytes) {
  switch (field.type) {
    case Type::number:
    case Type::interface:
      return number_in(bytes);
    case Type::boolean:
      return boolean_to_json(number_in(bytes));
    case Type::low_bit:
      return (bytes[0] & 1) != 0;
    case Type::high_bits:
      return static_cast<uint32>(bytes[0] >> 1);
    case Type::address:
      return address_to_json(bytes);
    case Type::secret:
    case Type::bytes:
      return bytes_to_json(bytes);
    default:
      return word_to_json(field.type, number_in(bytes));
  }
}

std::string text_of_field(const Field& field, std::span<const uint8> bytes, bool reveal) {
  if (field.type == Type::secret && !is_zero(bytes) && !reveal) return "(hidden)";
  const Json json = json_of_field(field, bytes);
  if (field.type == Type::interface) {
    char text[16];
    snprintf(text, sizeof text, "0x%x", number_in(bytes));
    return text;
  }
  if (json.is_boolean()) return json.get<bool>() ? "yes" : "no";
  if (json.is_null() || json == Json("")) return "-";
  if (json.is_object()) return "hex " + json["hex"].get<std::string>();
  return json.is_string() ? json.get<std::string>() : json.dump();
}

Json json_of(const StoredRecord& record) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr) return raw(record);
  Json json = readable(*layout, record.value);
  // The readable form counts only when it gives back the very same bytes.
  try {
    return record_of_readable(json) == record ? json : raw(record);
  } catch (const BadRecord&) {
    return raw(record);
  }
}

std::string raw_line_of(const StoredRecord& record) { return dumped(raw(record)); }

std::string line_of(const StoredRecord& record) { return dumped(json_of(record)); }

StoredRecord record_of_line(const std::string& line) {
  const Json json = parse(line);
  if (!json.is_object()) throw BadRecord("expected a JSON object");
  return json.contains("store_key") ? record_of_raw(json) : record_of_readable(json);
}

}  // namespace vrrpconvert
