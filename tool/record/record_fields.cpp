#include "tool/record/record_fields.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "libconvertvrrp.h"
#include "tool/record/interface_names.h"
#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

#define FIELD(record, name, heading, type) {#name, heading, offsetof(record, name), sizeof(record::name), Type::type}

constexpr Field vr_fields[] = {
    FIELD(vrrp_config_record_t, ifindex, "interface", interface),
    FIELD(vrrp_config_record_t, vr_id, "vr", number),
    FIELD(vrrp_config_record_t, addr_type, "family", address_type),
    FIELD(vrrp_config_record_t, admin, "admin", admin),
    FIELD(vrrp_config_record_t, prio, "prio", number),
    FIELD(vrrp_config_record_t, primary_ip, "primary ip", address),
    FIELD(vrrp_config_record_t, auth, "auth", auth),
    FIELD(vrrp_config_record_t, key, "key", secret),
    FIELD(vrrp_config_record_t, adv, "adv", number),
    FIELD(vrrp_config_record_t, preempt, "preempt", boolean),
    FIELD(vrrp_config_record_t, track_prio, "track prio", number),
    FIELD(vrrp_config_record_t, track_intf, "tracked", interface),
    FIELD(vrrp_config_record_t, spi, "spi", number),
    FIELD(vrrp_config_record_t, row_status, "row", number),
    FIELD(vrrp_config_record_t, owner, "owner", boolean),
    FIELD(vrrp_config_record_t, lower_threshold_prio, "lower", number),
    FIELD(vrrp_config_record_t, upper_threshold_prio, "upper", number),
    FIELD(vrrp_config_record_t, forwarding_state, "fwd", boolean),
    FIELD(vrrp_config_record_t, bfd_peer_ip, "bfd peer", address),
    FIELD(vrrp_config_record_t, reserved, "reserved", bytes),
};

constexpr Field ip_assoc_fields[] = {
    FIELD(vrrp_ip_assoc_record_t, ifindex, "interface", interface),
    FIELD(vrrp_ip_assoc_record_t, vr_id, "vr", number),
    FIELD(vrrp_ip_assoc_record_t, inet_addr, "address", address),
    {"virtual", "virtual", offsetof(vrrp_ip_assoc_record_t, virtual_), 4, Type::boolean},
    FIELD(vrrp_ip_assoc_record_t, row_status, "row", number),
    FIELD(vrrp_ip_assoc_record_t, reserved, "reserved", bytes),
};

constexpr Field global_info_fields[] = {
    FIELD(vrrp_pss_global_info_t, vrrp_enabled, "enabled", boolean),
    {"is_bfd_enabled_on_any_group", "bfd", 1, 1, Type::low_bit},
    {"temp_rsrv", "temp_rsrv", 1, 1, Type::high_bits},
    FIELD(vrrp_pss_global_info_t, reserved, "reserved", bytes),
};

#undef FIELD

// Returns a layout of `size` bytes. An old layout is a prefix of the new layout and has the fields that end in it.
constexpr Layout layout(Kind kind, Version version, size_t size, std::span<const Field> fields) {
  const auto ends_after = [size](const Field& field) { return field.offset + field.size > size; };
  return {kind, version, size, {fields.begin(), std::find_if(fields.begin(), fields.end(), ends_after)}};
}

// The longest layout of a kind comes first.
constexpr Layout all_layouts[] = {
    layout(Kind::vr, Version::new_one, sizeof(vrrp_config_record_t), vr_fields),
    layout(Kind::vr, Version::old_one, sizeof(vrrp_old_config_record_t), vr_fields),
    layout(Kind::ip_assoc, Version::new_one, sizeof(vrrp_ip_assoc_record_t), ip_assoc_fields),
    layout(Kind::ip_assoc, Version::old_one, sizeof(vrrp_old_ip_assoc_record_t), ip_assoc_fields),
    layout(Kind::global_info, Version::only, sizeof(vrrp_pss_global_info_t), global_info_fields),
};

}  // namespace

std::span<const Layout> layouts() { return all_layouts; }

const char* word_of(Kind kind) {
  static constexpr const char* words[] = {"vr", "ip_assoc", "global_info", "track", "other"};
  return words[static_cast<int>(kind)];
}

const char* title_of(Kind kind) {
  static constexpr const char* titles[] = {"VR configuration", "IP association", "Global info", "Track", "Other kinds"};
  return titles[static_cast<int>(kind)];
}

const char* word_of(Version version) {
  static constexpr const char* words[] = {"new", "old", "only", "unknown"};
  return words[static_cast<int>(version)];
}

bool has_layouts(Kind kind) { return kind <= Kind::global_info; }

Kind kind_of(const Bytes& key) {
  const uint32 global_key = VRRP_PSS_GLOBAL_INFO_KEY;
  if (key.size() == sizeof global_key && memcmp(key.data(), &global_key, sizeof global_key) == 0) {
    return Kind::global_info;
  }
  switch (key.empty() ? 0 : key[0]) {
    case VRRP_PSS_KEY_VR:
      return Kind::vr;
    case VRRP_PSS_KEY_IP_ASSOC:
      return Kind::ip_assoc;
    case VRRP_PSS_KEY_TRACK:
      return Kind::track;
    default:
      return Kind::other;
  }
}

const Layout* layout_of(const StoredRecord& record) {
  const Kind kind = kind_of(record.key);
  for (const Layout& layout : all_layouts) {
    if (record.value.size() == layout.size && layout.kind == kind) return &layout;
  }
  return nullptr;
}

bool is_downgraded(const StoredRecord& record, const Bytes& value) {
  const Kind kind = kind_of(record.key);
  const auto has_size = [&](const Layout& layout) {
    return layout.kind == kind && layout.version != Version::new_one && layout.size == value.size();
  };
  if (std::none_of(std::begin(all_layouts), std::end(all_layouts), has_size)) return false;
  if (kind == Kind::global_info) return value[0] == 1 && is_zero(std::span(value).subspan(1));
  const size_t copied = std::min(record.value.size(), value.size());
  return std::equal(value.begin(), value.begin() + static_cast<ptrdiff_t>(copied), record.value.begin()) &&
         is_zero(std::span(value).subspan(copied));
}

bool is_secret_throughout(const StoredRecord& record) {
  return kind_of(record.key) == Kind::vr && layout_of(record) == nullptr && !is_zero(record.value);
}

bool has_secret(const StoredRecord& record) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr) return is_secret_throughout(record);
  return std::any_of(layout->fields.begin(), layout->fields.end(), [&record](const Field& field) {
    return field.type == Type::secret && !is_unset(field, record.value);
  });
}

bool is_misplaced(const StoredRecord& record) {
  const Layout* layout = layout_of(record);
  return layout != nullptr && expected_key(*layout, record.value) != record.key;
}

Bytes expected_key(const Layout& layout, const Bytes& value) {
  if (layout.kind == Kind::vr) {
    vrrp_old_config_record_t record;
    memcpy(&record, value.data(), sizeof record);
    Bytes key(VRRP_VR_KEY_SIZE, 0);
    vrrp_make_vr_key(key.data(), VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
    return key;
  }
  if (layout.kind == Kind::ip_assoc) {
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

bool is_zero(std::span<const uint8> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8 byte) { return byte == 0; });
}

bool is_unset(const Field& field, const Bytes& value) {
  if (field.type == Type::low_bit) return (value[field.offset] & 1) == 0;
  if (field.type == Type::high_bits) return value[field.offset] >> 1 == 0;
  return is_zero(field.in(value));
}

bool is_set(const Field& field, const Bytes& value) { return field.offset < value.size() && !is_unset(field, value); }

std::optional<VrKey> router_in(const Bytes& key) {
  VrKey router;
  static_assert(router.size() == VRRP_VR_KEY_SIZE - 1);
  if (key.size() <= router.size()) return std::nullopt;
  std::copy_n(key.begin() + 1, router.size(), router.begin());
  return router;
}

std::optional<TrackKey> track_key_of(const Bytes& key) {
  if (key.size() != VRRP_TRACK_KEY_SIZE || key[0] != VRRP_PSS_KEY_TRACK) return std::nullopt;
  const auto number_at = [&key](size_t offset) { return ntohl(number_in(std::span(key).subspan(offset, 4))); };
  return TrackKey{{number_at(1), key[5], number_at(6)}, number_at(10)};
}

std::optional<Router> router_of(const StoredRecord& record) {
  const Layout* layout = layout_of(record);
  if (layout == nullptr || layout->version == Version::only) return std::nullopt;
  const std::span<const uint8> value = record.value;
  return Router{number_in(value.subspan(layout->fields[2].offset, 4)), value[4], number_in(value.first(4))};
}

namespace {

std::string vr_name(const Router& router) {
  const char* family = word_of(Type::address_type, router.addr_type);
  return "VR " + std::to_string(router.vr_id) + " " + (family != nullptr ? family : "of unknown family") + " on " +
         interface_text(router.ifindex);
}

}  // namespace

std::string name_of(const StoredRecord& record) {
  const Kind kind = kind_of(record.key);
  if (kind == Kind::global_info) return "global info";
  if (const auto track = track_key_of(record.key)) {
    return "track object " + std::to_string(track->track_obj_id) + " of " + vr_name(*track);
  }
  const auto router = router_of(record);
  if (!router) return word_of(kind) + (" record " + hex_of(record.key));
  if (kind != Kind::ip_assoc) return vr_name(*router);
  const std::string address = address_text(layout_of(record)->fields[2].in(record.value));
  return (address.empty() ? "unreadable address" : address) + " of VR " + std::to_string(router->vr_id) + " on " +
         interface_text(router->ifindex);
}

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
    case Type::auth:
      return auths;
    default:
      return {};
  }
}

const char* word_of(Type type, uint32 value) {
  for (const Word& word : words_of(type)) {
    if (word.value == value) return word.text;
  }
  return nullptr;
}

std::string address_text(std::span<const uint8> bytes) {
  const uint32 type = number_in(bytes.first(4));
  std::string text;
  if (type == INET_ADDR_TYPE_IPV4) {
    for (const uint8 byte : bytes.subspan(4, 4)) {
      if (!text.empty()) text += '.';
      append_number(byte, text);
    }
  } else if (type == INET_ADDR_TYPE_IPV6) {
    char buffer[INET6_ADDRSTRLEN] = "";
    text = inet_ntop(AF_INET6, bytes.data() + 4, buffer, sizeof buffer);
  }
  return text;
}

uint32 number_in(std::span<const uint8> bytes) {
  uint32 number = 0;
  memcpy(&number, bytes.data(), bytes.size());
  return number;
}

}  // namespace vrrpconvert
