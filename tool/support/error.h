// Errors that end a command.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tool/support/reason.h"

namespace vrrpconvert {

// The message names the object, the reason and the next step: "OBJECT: cannot VERB: REASON; NEXT STEP" if that is
// possible. `store` is the store with the error, or empty. The message may contain names from data, with line breaks
// that are escaped when it is printed; so further lines are separate texts.
struct Error : std::runtime_error {
  Error(Reason why, const std::string& message, std::string its_store = "")
      : std::runtime_error(message), reason(why), store(std::move(its_store)) {}

  // Returns the ending with all lines of the message.
  Ending ending() const {
    Ending ending = {reason, what()};
    for (const std::string& line : more) ending.problem += '\n' + line;
    return ending;
  }

  Reason reason;
  std::string store;
  std::vector<std::string> more{};  // further lines
};

}  // namespace vrrpconvert
