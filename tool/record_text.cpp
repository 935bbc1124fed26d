#include "tool/record_text.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>

#include "libconvertvrrp.h"

namespace vrrpconvert {
namespace {

using Json = nlohmann::ordered_json;

// ---- What the records hold ----

enum class Type { number, boolean, address_type, admin, auth, address, bytes, low_bit, high_bits };

struct Field {
  const char* name;
  size_t offset;
  size_t size;
  Type type;
};

#define FIELD(record, name, type) \
  { #name, offsetof(record, name), sizeof(record::name), Type::type }

constexpr Field vr_fields[] = {
    FIELD(vrrp_config_record_t, ifindex, number),
    FIELD(vrrp_config_record_t, vr_id, number),
    FIELD(vrrp_config_record_t, addr_type, address_type),
    FIELD(vrrp_config_record_t, admin, admin),
    FIELD(vrrp_config_record_t, prio, number),
    FIELD(vrrp_config_record_t, primary_ip, address),
    FIELD(vrrp_config_record_t, auth, auth),
    FIELD(vrrp_config_record_t, key, bytes),
    FIELD(vrrp_config_record_t, adv, number),
    FIELD(vrrp_config_record_t, preempt, boolean),
    FIELD(vrrp_config_record_t, track_prio, number),
    FIELD(vrrp_config_record_t, track_intf, number),
    FIELD(vrrp_config_record_t, spi, number),
    FIELD(vrrp_config_record_t, row_status, number),
    FIELD(vrrp_config_record_t, owner, boolean),
    FIELD(vrrp_config_record_t, lower_threshold_prio, number),
    FIELD(vrrp_config_record_t, upper_threshold_prio, number),
    FIELD(vrrp_config_record_t, forwarding_state, boolean),
    FIELD(vrrp_config_record_t, bfd_peer_ip, address),
    FIELD(vrrp_config_record_t, reserved, bytes),
};

constexpr Field ip_assoc_fields[] = {
    FIELD(vrrp_ip_assoc_record_t, ifindex, number),
    FIELD(vrrp_ip_assoc_record_t, vr_id, number),
    FIELD(vrrp_ip_assoc_record_t, inet_addr, address),
    {"virtual", offsetof(vrrp_ip_assoc_record_t, virtual_), 4, Type::boolean},
    FIELD(vrrp_ip_assoc_record_t, row_status, number),
    FIELD(vrrp_ip_assoc_record_t, reserved, bytes),
};

constexpr Field global_info_fields[] = {
    FIELD(vrrp_pss_global_info_t, vrrp_enabled, boolean),
    {"is_bfd_enabled_on_any_group", 1, 1, Type::low_bit},
    {"temp_rsrv", 1, 1, Type::high_bits},
    FIELD(vrrp_pss_global_info_t, reserved, bytes),
};

#undef FIELD

struct Layout {
  const char* kind;
  const char* layout;  // null where there is only one
  size_t size;
  std::span<const Field> fields;  // those of the old layout are the first of the new one's
};

const Layout layouts[] = {
    {"vr", "new", sizeof(vrrp_config_record_t), vr_fields},
    {"vr", "old", sizeof(vrrp_old_config_record_t), std::span(vr_fields).first(15)},
    {"ip_assoc", "new", sizeof(vrrp_ip_assoc_record_t), ip_assoc_fields},
    {"ip_assoc", "old", sizeof(vrrp_old_ip_assoc_record_t), std::span(ip_assoc_fields).first(5)},
    {"global_info", nullptr, sizeof(vrrp_pss_global_info_t), global_info_fields},
};

struct Word {
  const char* text;
  uint32 value;
};

std::span<const Word> words_of(Type type) {
  static constexpr Word address_types[] = {
      {"unknown", INET_ADDR_TYPE_UNKNOWN}, {"ipv4", INET_ADDR_TYPE_IPV4}, {"ipv6", INET_ADDR_TYPE_IPV6}};
  static constexpr Word admins[] = {{"up", STATE_UP}, {"down", STATE_DOWN}};
  static constexpr Word auths[] = {{"no", AUTH_NO}, {"text", AUTH_TEXT}, {"ip", AUTH_IP}};
  switch (type) {
    case Type::address_type:
      return address_types;
    case Type::admin:
      return admins;
    default:
      return auths;
  }
}

bool may_be_left_out(const Field& field) {
  return strcmp(field.name, "reserved") == 0 || field.type == Type::high_bits;
}

// ---- Fields to JSON ----

uint32 number_in(std::span<const uint8> bytes) {
  uint32 number = 0;
  memcpy(&number, bytes.data(), bytes.size());
  return number;
}

std::string hex_of(std::span<const uint8> bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string hex;
  for (const uint8 byte : bytes) {
    hex += digits[byte >> 4];
    hex += digits[byte & 15];
  }
  return hex;
}

Json boolean_to_json(uint32 number) { return number <= 1 ? Json(number == 1) : Json(number); }

Json word_to_json(Type type, uint32 value) {
  for (const Word& word : words_of(type)) {
    if (word.value == value) return word.text;
  }
  return nullptr;  // no word for it: the raw form carries the record
}

// Null for an unset address, and for one that has no text, which the raw form carries.
Json address_to_json(std::span<const uint8> bytes) {
  inet_addr_t address;
  memcpy(&address, bytes.data(), sizeof address);
  char text[INET6_ADDRSTRLEN];
  const void* from = bytes.data() + offsetof(inet_addr_t, a);
  if (address.addr_type == INET_ADDR_TYPE_IPV4) return inet_ntop(AF_INET, from, text, sizeof text);
  if (address.addr_type == INET_ADDR_TYPE_IPV6) return inet_ntop(AF_INET6, from, text, sizeof text);
  return nullptr;
}

Json bytes_to_json(std::span<const uint8> bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), 0);
  const bool is_text = std::all_of(bytes.begin(), end, [](uint8 byte) { return byte >= 0x20 && byte < 0x7f; }) &&
                       std::all_of(end, bytes.end(), [](uint8 byte) { return byte == 0; });
  if (is_text) return std::string(bytes.begin(), end);
  return {{"hex", hex_of(bytes)}};
}

Json field_to_json(const Field& field, std::span<const uint8> bytes) {
  switch (field.type) {
    case Type::number:
      return number_in(bytes);
    case Type::boolean:
      return boolean_to_json(number_in(bytes));
    case Type::low_bit:
      return (bytes[0] & 1) != 0;
    case Type::high_bits:
      return static_cast<uint32>(bytes[0] >> 1);
    case Type::address:
      return address_to_json(bytes);
    case Type::bytes:
      return bytes_to_json(bytes);
    default:
      return word_to_json(field.type, number_in(bytes));
  }
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

uint32 word_of(Type type, const Json& json) {
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
    case Type::bytes:
      memcpy(place, bytes_of(json, field.size).data(), field.size);
      return;
    default:
      return put_number(word_of(field.type, json));
  }
}

// ---- Records ----

// The key that the manager keeps the record under.
Bytes key_of(const Layout& layout, const Bytes& value) {
  if (layout.fields.data() == vr_fields) {
    vrrp_old_config_record_t record;
    memcpy(&record, value.data(), sizeof record);
    Bytes key(VRRP_VR_KEY_SIZE, 0);
    vrrp_make_vr_key(key.data(), VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
    return key;
  }
  if (layout.fields.data() == ip_assoc_fields) {
    vrrp_old_ip_assoc_record_t record;
    memcpy(&record, value.data(), sizeof record);
    Bytes key(VRRP_ASSOC_KEY_SIZE, 0);
    vrrp_make_assoc_key(key.data(), record.ifindex, record.vr_id, record.inet_addr);
    return key;
  }
  const uint32 global_key = VRRP_PSS_GLOBAL_INFO_KEY;
  const auto* bytes = reinterpret_cast<const uint8*>(&global_key);
  return Bytes(bytes, bytes + sizeof global_key);
}

std::optional<Json> readable(const Layout& layout, const StoredRecord& record) {
  if (record.value.size() != layout.size || record.key != key_of(layout, record.value)) return std::nullopt;
  Json json = {{"kind", layout.kind}};
  if (layout.layout != nullptr) json["layout"] = layout.layout;
  for (const Field& field : layout.fields) {
    const auto bytes = std::span(record.value).subspan(field.offset, field.size);
    const Json value = field_to_json(field, bytes);
    const bool is_zero = value == "" || value == 0;
    if (!is_zero || !may_be_left_out(field)) json[field.name] = value;
  }
  return json;
}

const Layout& layout_of(const Json& json) {
  const Json kind = json.value("kind", Json());
  const Json layout = json.value("layout", Json());
  bool kind_is_known = false;
  for (const Layout& candidate : layouts) {
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
  const Layout& layout = layout_of(json);
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
  return {key_of(layout, value), value};
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
  }
}

}  // namespace

std::string raw_line_of(const StoredRecord& record) {
  return Json({{"store_key", hex_of(record.key)}, {"value", hex_of(record.value)}}).dump();
}

std::string line_of(const StoredRecord& record) {
  for (const Layout& layout : layouts) {
    const std::optional<Json> json = readable(layout, record);
    if (!json) continue;
    // The readable form counts only when it gives back the very same bytes.
    try {
      if (record_of_readable(*json) == record) return json->dump();
    } catch (const BadRecord&) {
    }
  }
  return raw_line_of(record);
}

StoredRecord record_of_line(const std::string& line) {
  const Json json = parse(line);
  if (!json.is_object()) throw BadRecord("expected a JSON object");
  return json.contains("store_key") ? record_of_raw(json) : record_of_readable(json);
}

}  // namespace vrrpconvert
