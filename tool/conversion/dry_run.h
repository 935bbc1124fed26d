// The same conversion, by the same library, of a copy in memory: what would change, and what would be lost.
#ifndef TOOL_CONVERSION_DRY_RUN_H
#define TOOL_CONVERSION_DRY_RUN_H

#include <optional>

#include "tool/conversion/conversion.h"
#include "tool/store/store.h"

namespace vrrpconvert {

class DryRun {
 public:
  // Runs it. Throws Error when the store cannot be read, the operator interrupts, or not every record was converted.
  explicit DryRun(const Conversion& conversion);

  const Store& before() const { return before_; }  // the store as it is
  const Store& after() const { return *after_; }   // as it would be
  const Run& run() const { return run_; }

 private:
  Store before_;
  Run run_;
  std::optional<Store> after_;
};

}  // namespace vrrpconvert

#endif
