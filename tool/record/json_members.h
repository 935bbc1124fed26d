// The members of the JSON object in a line.
#pragma once

#include <string_view>

#include "tool/support/json.h"

namespace vrrpconvert {

class JsonMembers {
 public:
  // Members are scalars, or objects of scalars. Throws BadRecord, also for a name that an object has twice: one of its
  // values would be lost.
  explicit JsonMembers(std::string_view line);

  // Returns the member `name`, or null if there is none.
  const Json* take(const char* name);

  // Throws BadRecord if there is a member that was not taken.
  void refuse_others() const;

 private:
  Json object_;
  std::vector<const Json*> taken_;
};

}  // namespace vrrpconvert
