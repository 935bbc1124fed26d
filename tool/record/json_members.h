// The members of the JSON object in a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tool/support/json.h"

namespace vrrpconvert {

class JsonMembers {
 public:
  // Values are scalars, or objects of scalars. Throws BadRecord, also for a duplicate name, because one of its values
  // would be lost.
  explicit JsonMembers(std::string_view line);

  // Returns the value of the member `name`, or null if there is no such member.
  const Json* take(std::string_view name);

  // Throws BadRecord if a member was not taken.
  void refuse_others() const;

 private:
  class Reader;
  struct Member {
    std::string name;
    Json value;
    bool is_taken = false;
  };
  std::vector<Member> members_;
  size_t next_ = 0;  // members usually appear in the order in which they are looked up, so start the search here
};

}  // namespace vrrpconvert
