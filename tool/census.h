// The records of a store, counted by kind and layout.
#ifndef TOOL_CENSUS_H
#define TOOL_CENSUS_H

#include <map>
#include <string>

#include "tool/json.h"
#include "tool/store.h"

namespace vrrpconvert {

struct Census {
  // By "vr", "ip_assoc", "global_info", "track" or "other", then by "new", "old", "only" (where a kind has one layout)
  // or "unknown" (a value of no layout's length).
  std::map<std::string, std::map<std::string, size_t>> counts;

  void add(const StoredRecord& record);
  size_t of(const std::string& kind) const;
  size_t of(const std::string& kind, const std::string& layout) const;
  size_t total() const;

  // "5 vr (5 new), 7 ip_assoc (7 new), 1 global_info, 1 track"
  std::string text() const;
  Json json() const { return counts; }
};

Census take_census(const Store& store);

}  // namespace vrrpconvert

#endif
