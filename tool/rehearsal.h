// The same conversion, by the same library, on a private copy: what would change, and what would be lost.
#ifndef TOOL_REHEARSAL_H
#define TOOL_REHEARSAL_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion.h"
#include "tool/difference.h"
#include "tool/private_folder.h"
#include "tool/store.h"
#include "tool/verdict.h"

namespace vrrpconvert {

class Rehearsal {
 public:
  // Runs it. Throws Error when the store cannot be read, the operator interrupts, or the library dies.
  explicit Rehearsal(const Conversion& real);

  const Store& before() const { return *before_; }  // the store as it is
  const Store& after() const { return *after_; }    // as it would be
  size_t records() const { return records_; }
  const Run& run() const { return run_; }

 private:
  PrivateFolder workplace_;
  Conversion rehearsed_;
  size_t records_ = 0;
  Run run_;
  std::optional<Store> before_, after_;
};

struct Loss {
  std::string store_key, record, field, value;  // `field` is empty where the whole record goes
};

// Calls `take` with every loss, in key order.
void for_each_loss(const Rehearsal& rehearsal, bool reveal, const std::function<void(const Loss&)>& take);

struct Plan {
  size_t changes = 0;  // records that would change
  size_t losses = 0;
  std::vector<FailedRecord> failures;  // records that would not be in the state that they should be in

  bool is_harmless() const { return losses == 0 && failures.empty(); }
};

Plan plan_of(const Rehearsal& rehearsal, Change change);

}  // namespace vrrpconvert

#endif
