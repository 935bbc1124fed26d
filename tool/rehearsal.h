// The same conversion, by the same library, on a private copy: what would change, and what would be lost.
#ifndef TOOL_REHEARSAL_H
#define TOOL_REHEARSAL_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion.h"
#include "tool/difference.h"
#include "tool/private_folder.h"
#include "tool/verdict.h"

namespace vrrpconvert {

class Rehearsal {
 public:
  // Runs it. Throws Error when the store cannot be read, the operator interrupts, or the library dies.
  explicit Rehearsal(const Conversion& real);

  std::filesystem::path before() const { return workplace_.path() / "before"; }  // the store as it is
  std::filesystem::path after() const { return rehearsed_.store(); }             // as it would be
  size_t records() const { return records_; }
  const Run& run() const { return run_; }

 private:
  PrivateFolder workplace_;
  Conversion rehearsed_;
  size_t records_ = 0;
  Run run_;
};

struct Loss {
  std::string store_key, record, field, value;  // `field` is empty where the whole record goes
};

// A difference that is kept.
struct PlannedChange {
  std::optional<StoredRecord> before, after;

  Difference difference() const { return {before ? &*before : nullptr, after ? &*after : nullptr}; }
};

struct Plan {
  std::vector<PlannedChange> changes;
  std::vector<Loss> losses;
  std::vector<FailedRecord> failures;  // records that would not be in the state that they should be in

  bool is_harmless() const { return losses.empty() && failures.empty(); }
};

Plan plan_of(const Rehearsal& rehearsal, Change change, bool reveal);

}  // namespace vrrpconvert

#endif
