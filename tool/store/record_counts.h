// Numbers of records by kind and layout.
#pragma once

#include <array>
#include <string>

#include "tool/record/record_fields.h"
#include "tool/store/store.h"
#include "tool/support/json.h"

namespace vrrpconvert {

class RecordCounts {
 public:
  void add(const StoredRecord& record);

  size_t of(Kind kind) const;
  size_t of(Kind kind, Version version) const {
    return counts_[static_cast<size_t>(kind)][static_cast<size_t>(version)];
  }
  size_t with_layout(Version version) const { return of(Kind::vr, version) + of(Kind::ip_assoc, version); }
  size_t total() const;

  // Returns the number of VR configurations and IP associations.
  size_t routers() const { return of(Kind::vr) + of(Kind::ip_assoc); }

  // "5 vr (5 new), 7 ip_assoc (7 new), 1 global_info, 1 track"
  std::string text() const;

  // Writes the numbers by kind, then by layout. Omits zeros.
  friend void to_json(Json& json, const RecordCounts& counts);
  // Reads such numbers. An unknown kind or layout counts as "other" or "unknown". Throws std::exception.
  friend void from_json(const Json& json, RecordCounts& counts);

 private:
  std::array<std::array<size_t, 4>, 5> counts_{};
};

RecordCounts count_records(const Store& store);

}  // namespace vrrpconvert
