// The records of a store, counted by kind and layout.
#ifndef TOOL_STORE_RECORD_COUNTS_H
#define TOOL_STORE_RECORD_COUNTS_H

#include <map>
#include <string>

#include "tool/store/store.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

class RecordCounts {
 public:
  void add(const StoredRecord& record);

  size_t of(const std::string& kind) const;
  size_t of(const std::string& kind, const std::string& layout) const;

  // "5 vr (5 new), 7 ip_assoc (7 new), 1 global_info, 1 track"
  std::string text() const;
  void write(JsonWriter& json) const;

 private:
  // By "vr", "ip_assoc", "global_info", "track" or "other", then by "new", "old", "only" (where a kind has one layout)
  // or "unknown" (a value of no layout's length).
  std::map<std::string, std::map<std::string, size_t>> counts_;
};

RecordCounts count_records(const Store& store);

}  // namespace vrrpconvert

#endif
