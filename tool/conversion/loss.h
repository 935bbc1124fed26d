// Losses: values and records that a conversion drops.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/conversion/defaults.h"
#include "tool/store/difference.h"

namespace vrrpconvert {

// The name of the loss of a whole record. Other losses have the name of the field.
inline constexpr char whole_record[] = "record";

// Returns all names of losses, beginning with whole_record.
std::vector<std::string> names_of_losses();

// Throws Error if `name` is not the name of a loss.
void require_loss(const std::string& name);

struct Loss {
  const StoredRecord& record;  // before the conversion
  const char* name;
  const Field* field;              // null for a whole record
  std::string default_value = {};  // "FIELD=VALUE" of --default if the target release assumes it, else empty
};

// Calls `visit` with every loss in a difference. A field is lost if it was set before and is not set after.
void for_each_loss(const Difference& difference, const Defaults& defaults,
                   const std::function<void(const Loss&)>& visit);

}  // namespace vrrpconvert
