// The members of the JSON object in a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tool/support/json.h"

namespace vrrpconvert {

class JsonMembers {
 public:
  // Values are scalars, or objects of scalars. Throws BadRecord, also for a name that stands in the object twice: one
  // of its values would be lost.
  explicit JsonMembers(std::string_view line);

  // The value of the member `name`, or null where there is none.
  const Json* take(std::string_view name);

  // Throws BadRecord when there is a member that was not taken.
  void refuse_others() const;

 private:
  class Reader;
  struct Member {
    std::string name;
    Json value;
    bool is_taken = false;
  };
  std::vector<Member> members_;
  size_t next_ = 0;  // lines come in the order in which they are written, so that the next member is mostly the one
};

}  // namespace vrrpconvert
