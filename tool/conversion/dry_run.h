// The same conversion, by the same library, on a private copy: what would change, and what would be lost.
#ifndef TOOL_CONVERSION_DRY_RUN_H
#define TOOL_CONVERSION_DRY_RUN_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/conversion/verdict.h"
#include "tool/store/difference.h"
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

struct Loss {
  std::string store_key, record, field, value;  // `field` is empty where the whole record goes
};

// Calls `visit` with every loss, in key order.
void for_each_loss(const DryRun& dry_run, bool reveal, const std::function<void(const Loss&)>& visit);

struct Plan {
  size_t changes = 0;  // records that would change
  size_t losses = 0;
  std::vector<FailedRecord> failures;  // records that would not be in the state that they should be in

  bool is_harmless() const { return losses == 0 && failures.empty(); }
};

Plan plan_of(const DryRun& dry_run, Change change);

}  // namespace vrrpconvert

#endif
