// What ends a command early.
#ifndef TOOL_SUPPORT_ERROR_H
#define TOOL_SUPPORT_ERROR_H

#include <stdexcept>
#include <string>

namespace vrrpconvert {

// Exit codes, the same for every command.
enum Exit {
  exit_done = 0,           // done, or no difference
  exit_found = 1,          // differences, problems, or a loss that was not allowed
  exit_usage = 2,          // the command line asks for something that is not done
  exit_bad_input = 3,      // an input is missing, damaged, or not what it should be
  exit_in_use = 4,         // another process holds the store
  exit_io = 5,             // the device failed or is full; nothing was changed
  exit_unknown = 6,        // the outcome is not known
  exit_some_failed = 7,    // some records are not in the state that they should be in
  exit_interrupted = 130,  // ended by the operator; the store is as it was
};

// The message says what is wrong, where, what was expected, and what to do next.
struct Error : std::runtime_error {
  Error(Exit code, const std::string& message) : std::runtime_error(message), exit_code(code) {}
  Exit exit_code;
};

}  // namespace vrrpconvert

#endif
