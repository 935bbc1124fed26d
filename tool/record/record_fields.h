// The kind, layout, fields and expected key of a stored record.
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
  const char* heading;  // of its column in a table
  size_t offset;
  size_t size;
  Type type;

  std::span<const uint8> in(const Bytes& value) const { return std::span(value).subspan(offset, size); }

  // Returns whether the readable form omits the field if it is zero: reserved bytes and bits.
  bool may_be_left_out() const { return type == Type::high_bits || type == Type::bytes; }

  // Returns whether a table shows the field even if it is zero: the interface, the VR number, and the flags of the
  // global info record.
  bool is_always_shown() const { return offset < 5 && !may_be_left_out(); }
};

// Kinds of records. The key determines the kind.
enum class Kind { vr, ip_assoc, global_info, track, other };
inline constexpr Kind kinds[] = {Kind::vr, Kind::ip_assoc, Kind::global_info, Kind::track, Kind::other};
const char* word_of(Kind kind);   // "vr", "ip_assoc", "global_info", "track", "other"
const char* title_of(Kind kind);  // "VR configuration", "IP association", ...
Kind kind_of(const Bytes& key);

// The layout of a record: "only" if its kind has one layout, "unknown" if its kind has no layouts or none of this size.
enum class Version { new_one, old_one, only, unknown };
const char* word_of(Version version);  // "new", "old", "only", "unknown"

struct Layout {
  Kind kind;
  Version version;
  size_t size;
  std::span<const Field> fields;  // the fields of the old layout are the first fields of the new layout
};

std::span<const Layout> layouts();

// Returns whether records of this kind have layouts. Only those are converted.
bool has_layouts(Kind kind);

// Returns the layout of a record by its kind and the size of its value, or null.
const Layout* layout_of(const StoredRecord& record);

// Returns whether a downgrade stores `value` for `record`. The kind of `record` has layouts.
bool is_downgraded(const StoredRecord& record, const Bytes& value);

// Returns whether the whole value is a secret, because no layout determines the position of the secret.
bool is_secret_throughout(const StoredRecord& record);

// Returns whether a record contains a secret.
bool has_secret(const StoredRecord& record);

// Returns the key under which the manager stores a value of this layout.
Bytes expected_key(const Layout& layout, const Bytes& value);

// Returns whether the record has a layout and is stored under another key than its expected key.
bool is_misplaced(const StoredRecord& record);

bool is_zero(std::span<const uint8> bytes);

// Returns whether the field, or the bits of a bit field, are zero in `value`.
bool is_unset(const Field& field, const Bytes& value);

// Returns whether `value` is long enough to have the field, and the field is not zero.
bool is_set(const Field& field, const Bytes& value);

// The bytes after the key type that identify a virtual router. They are the same in the keys of its VR configuration,
// IP associations and track records.
using VrKey = std::array<uint8, 9>;
std::optional<VrKey> router_in(const Bytes& key);

// A virtual router.
struct Router {
  uint32 addr_type;
  uint8 vr_id;
  uint32 ifindex;
};

// Returns the virtual router in the value of a VR configuration or an IP association, or nothing.
std::optional<Router> router_of(const StoredRecord& record);

// The fields in the key of a track record, if it has the documented form.
struct TrackKey : Router {
  uint32 track_obj_id;
};
std::optional<TrackKey> track_key_of(const Bytes& key);

// Returns a name for messages: "VR 7 ipv4 on 0x10", "192.0.2.1 of VR 7 on 0x10", "global info", "track object 1 of VR 7
// ipv4 on 0x10", or "other record 07...".
std::string name_of(const StoredRecord& record);

// Returns the word of an enumerator, or null.
const char* word_of(Type type, uint32 value);

struct Word {
  const char* text;
  uint32 value;
};
std::span<const Word> words_of(Type type);

// Returns the text of an inet_addr_t, or an empty text if it has none.
std::string address_text(std::span<const uint8> bytes);

uint32 number_in(std::span<const uint8> bytes);

}  // namespace vrrpconvert
