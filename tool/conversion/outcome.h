// The outcome of a conversion: what it did to the records of a store, or what a dry run says that it would do.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/conversion/run.h"
#include "tool/store/difference.h"
#include "tool/store/record_counts.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

// Losses go by the name of the field; this name is for records that are lost as a whole.
inline constexpr char whole_record[] = "record";

// The names that a loss can have, the one for whole records first.
std::vector<std::string> names_of_losses();

struct Loss {
  const StoredRecord& record;  // before the conversion
  const char* name;
  const Field* field;       // null for a whole record
  bool is_default = false;  // the target release assumes this value
};

// Calls `visit` with every loss that a difference is. A field is lost if it was set and is not set afterwards.
void for_each_loss(const Difference& difference, const Defaults& defaults,
                   const std::function<void(const Loss&)>& visit);

struct FailedRecord {
  std::string store_key, record, reason;

  JSON_MEMBERS(store_key, record, reason)
};

struct Outcome {
  RecordCounts records;  // of the store before
  size_t changes = 0;    // records that differ afterwards
  size_t converted = 0, deleted = 0, unchanged = 0;
  NameList added;
  NamesByWord lost;                  // by field
  NamesByWord defaults;              // dropped values that the target release assumes, by field
  NameList without_vr;               // track records whose virtual router is deleted
  std::vector<FailedRecord> failed;  // records that are not in the state that the conversion gives them
};

// Compares the store `after` a run with the store `before` it. The run only gives reasons. Throws Error.
Outcome outcome_of(const Conversion& conversion, const Store& before, const Store& after, const Run& run);

// The outcome if the library does not run.
Outcome outcome_of_none(const Store& store);

// Whether the target release reads every VR configuration and IP association, and there are any, so that a conversion,
// which would have the outcome `foreseen`, has nothing to do. A global info record with values of the new release alone
// has to be downgraded. A release of the old layout may have another one than a downgrade stores.
bool is_converted_already(const Conversion& conversion, const Outcome& foreseen);

}  // namespace vrrpconvert
