// A dry run: the library converts a working copy of the store in memory.
#pragma once

#include <optional>

#include "tool/conversion/conversion.h"
#include "tool/conversion/outcome.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// The process in which the library runs. If the own process is not expendable, use a new one.
enum class Place { new_process, own_process };

class DryRun {
 public:
  // Reads the store and converts a working copy. Writes no file. Throws Error if the store cannot be read, or the
  // library did not process every record.
  DryRun(const Conversion& conversion, Place place);

  const Store& before() const { return before_; }
  const Store& after() const { return after_ ? *after_ : before_; }
  const Outcome& outcome() const { return outcome_; }
  uint32 operations() const { return operations_; }  // records that the library stored or deleted

 private:
  Run convert(const Conversion& conversion, Place place);

  Store before_;
  std::optional<Store> after_;  // empty if there is nothing to convert
  Outcome outcome_;
  uint32 operations_ = 0;
};

}  // namespace vrrpconvert
