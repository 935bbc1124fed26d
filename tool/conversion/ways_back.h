// The copies and snapshots of a store that it can go back to.
#ifndef TOOL_CONVERSION_WAYS_BACK_H
#define TOOL_CONVERSION_WAYS_BACK_H

#include <filesystem>
#include <string>
#include <vector>

#include "tool/store/record_counts.h"

namespace vrrpconvert {

struct WayBack {
  std::filesystem::path file;
  std::string release;  // that wrote it, as its name says; empty where it does not
  RecordCounts counts;

  // "FILE: of 4.2(1), 5 vr (5 new), 7 ip_assoc (7 new)"
  std::string text() const;
};

// The intact stores among the files that are `store` with a copy's ending, and among those that are `snapshot`, or kept
// from there. `snapshot` may be empty.
std::vector<WayBack> ways_back(const std::filesystem::path& store, const std::filesystem::path& snapshot);

}  // namespace vrrpconvert

#endif
