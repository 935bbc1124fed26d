// The outcome of a conversion or a dry run: the number of records that it changed, lost values, and failed records.
#pragma once

#include <string>
#include <vector>

#include "tool/conversion/conversion.h"
#include "tool/conversion/loss.h"
#include "tool/conversion/run.h"
#include "tool/store/record_counts.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

struct FailedRecord {
  std::string store_key, record, reason;

  JSON_MEMBERS(store_key, record, reason)
};

struct Outcome {
  RecordCounts counts;      // in the store before
  size_t change_count = 0;  // records that changed
  size_t converted = 0, deleted = 0, unchanged = 0;
  NameList added;
  bool enables_vrrp = false;           // a downgrade always stores a global info record with VRRP enabled
  NamesByWord lost;                    // by field
  NamesByWord defaults;                // dropped values that the target release assumes, by field
  NameList without_vr;                 // track records whose VR configuration is deleted
  std::vector<FailedRecord> failures;  // records that are not in the state that the conversion should give them
  bool is_already = false;             // of a dry run: there is nothing to convert
};

// Compares the store before and after a run. Takes only the reasons of failures from `run`. Throws Error.
Outcome outcome_of(const Conversion& conversion, const Store& before, const Store& after, const Run& run);

// Returns the outcome of a dry run that found nothing to convert.
Outcome outcome_of_none(const Store& store);

// Returns whether the conversion has nothing to do, because there are VR configurations or IP associations and the
// target release can read all of them. `foreseen` is the outcome of its dry run. In a downgrade, a global info record
// with values of the new release must be converted anyway.
bool is_converted_already(const Conversion& conversion, const Outcome& foreseen);

}  // namespace vrrpconvert
