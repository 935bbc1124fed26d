// What ends a command early.
#pragma once

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
  exit_interrupted = 130,  // ended by the operator; the store is unchanged
};

// A word for scripts, where an error has none of its own.
inline const char* reason_for(Exit code) {
  constexpr struct {
    Exit code;
    const char* word;
  } words[] = {{exit_usage, "usage"},
               {exit_bad_input, "bad_input"},
               {exit_in_use, "in_use"},
               {exit_io, "io"},
               {exit_unknown, "unknown_outcome"},
               {exit_some_failed, "records_failed"},
               {exit_interrupted, "interrupted"}};
  for (const auto& known : words) {
    if (known.code == code) return known.word;
  }
  return "found";
}

// The message says what is wrong, where, what was expected, and what to do next; `reason` is a word for scripts, which
// stays the same from release to release, and `store` the store that it is about, if it is about one.
struct Error : std::runtime_error {
  Error(Exit code, const std::string& message, const std::string& word = "", std::string its_store = "")
      : std::runtime_error(message),
        exit_code(code),
        reason(word.empty() ? reason_for(code) : word),
        store(std::move(its_store)) {}
  Exit exit_code;
  std::string reason;
  std::string store;
};

}  // namespace vrrpconvert
