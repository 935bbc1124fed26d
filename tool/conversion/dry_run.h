// The same conversion, by the same library, on a private copy: what would change, and what would be lost.
#ifndef TOOL_CONVERSION_DRY_RUN_H
#define TOOL_CONVERSION_DRY_RUN_H

#include <optional>

#include "tool/conversion/conversion.h"
#include "tool/store/store.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

class DryRun {
 public:
  // Runs it. Throws Error when the store cannot be read, the operator interrupts, or the library dies.
  explicit DryRun(const Conversion& real);

  const Store& before() const { return *before_; }  // the store as it is
  const Store& after() const { return *after_; }    // as it would be
  const Run& run() const { return run_; }

 private:
  ScratchDirectory scratch_;
  Run run_;
  std::optional<Store> before_, after_;
};

}  // namespace vrrpconvert

#endif
