// What a stored record is: its kind, its layout, its fields, and the key that belongs to it.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "tool/record/stored_record.h"

namespace vrrpconvert {

enum class Type { number, interface, boolean, address_type, admin, auth, address, secret, bytes, low_bit, high_bits };

struct Field {
  const char* name;
  const char* heading;  // of its column in a table for users
  size_t offset;
  size_t size;
  Type type;

  std::span<const uint8> in(const Bytes& value) const { return std::span(value).subspan(offset, size); }

  // Whether a zero value needs no mention in a readable line: that of reserved bytes and bits.
  bool may_be_left_out() const { return type == Type::high_bits || type == Type::bytes; }

  // Whether a table shows the field even where it is zero: the interface and the VR number, with which records begin,
  // and the flags of the global info record.
  bool is_always_shown() const { return offset < 5 && !may_be_left_out(); }
};

// Records are of a kind, which their key shows.
enum class Kind { vr, ip_assoc, global_info, track, other };
inline constexpr Kind kinds[] = {Kind::vr, Kind::ip_assoc, Kind::global_info, Kind::track, Kind::other};
const char* word_of(Kind kind);   // "vr", "ip_assoc", "global_info", "track", "other"
const char* title_of(Kind kind);  // for users: "VR configuration", "IP association", ...
Kind kind_of(const Bytes& key);

// Which layout of its kind a record has: "only" if the kind has one, "unknown" if no layout has the value's length, or
// the kind has none.
enum class Version { new_one, old_one, only, unknown };
const char* word_of(Version version);  // "new", "old", "only", "unknown"

struct Layout {
  Kind kind;
  Version version;
  size_t size;
  std::span<const Field> fields;  // those of the old layout are the first of the new one's
};

std::span<const Layout> layouts();

// Whether records of this kind have layouts: only those are converted.
bool has_layouts(Kind kind);

// The layout of a record by its kind and its value's length, or null.
const Layout* layout_of(const StoredRecord& record);

// Whether `value` is what a downgrade stores for a record of a kind that has layouts.
bool is_downgraded(const StoredRecord& record, const Bytes& value);

// Whether the whole value of a record is a secret, because it has no layout that says where its secret is.
bool is_secret_throughout(const StoredRecord& record);

// Whether a record holds a secret.
bool has_secret(const StoredRecord& record);

// The key that the manager keeps a value of this layout under.
Bytes expected_key(const Layout& layout, const Bytes& value);

bool is_zero(std::span<const uint8> bytes);

// Whether the field is zero in `value`; a bit field is only its bits.
bool is_unset(const Field& field, const Bytes& value);

// Whether `value` is long enough to have the field, and the field is not zero.
bool is_set(const Field& field, const Bytes& value);

// The virtual router that a key of the manager's store names, in the bytes behind its type. They are the same in the
// keys of its VR configuration, its IP associations and its track records.
using RouterKey = std::array<uint8, 9>;
std::optional<RouterKey> router_in(const Bytes& key);

// What the key of a track record says, where it has the documented form.
struct TrackKey {
  uint32 addr_type;
  uint8 vr_id;
  uint32 ifindex, track_obj_id;
};
std::optional<TrackKey> track_key_of(const Bytes& key);

// A record for users: "VR 7 ipv4 on 0x10", "192.0.2.1 of VR 7 on 0x10", "global info", "track object 1 of VR 7 ipv4 on
// 0x10", or "other record 07..." where no more is known.
std::string name_of(const StoredRecord& record);

// A number's word in an enumeration, or null.
const char* word_of(Type type, uint32 value);

struct Word {
  const char* text;
  uint32 value;
};
std::span<const Word> words_of(Type type);

// The text of an inet_addr_t, or an empty one where it has none.
std::string address_text(std::span<const uint8> bytes);

uint32 number_in(std::span<const uint8> bytes);

}  // namespace vrrpconvert
