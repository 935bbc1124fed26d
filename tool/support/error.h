// Errors that end a command, and exit statuses.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace vrrpconvert {

// Exit statuses, the same for every command.
enum Exit {
  exit_done = 0,           // success, or no difference
  exit_found = 1,          // differences, problems, a mismatch, or a loss that was not allowed
  exit_usage = 2,          // usage error
  exit_bad_input = 3,      // missing, damaged or invalid input
  exit_in_use = 4,         // store in use, or changed since the plan or the dry run
  exit_io = 5,             // I/O error, or no space, memory or permission; nothing was changed
  exit_unknown = 6,        // unknown outcome
  exit_some_failed = 7,    // records failed, or would fail
  exit_interrupted = 130,  // the operator interrupted; the store is unchanged
};

// Returns the default `reason` of an exit status.
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

// The message names the object, the reason and the next step: "OBJECT: cannot VERB: REASON; NEXT STEP" if that is
// possible. `reason` is a stable identifier for scripts. `store` is the store with the error, or empty. The message may
// contain names from data, with line breaks that are escaped when it is printed; so further lines are separate texts.
struct Error : std::runtime_error {
  Error(Exit code, const std::string& message, const std::string& word = "", std::string its_store = "")
      : std::runtime_error(message),
        exit_code(code),
        reason(word.empty() ? reason_for(code) : word),
        store(std::move(its_store)) {}

  // Returns all lines of the message.
  std::string text() const {
    std::string text = what();
    for (const std::string& line : more) text += '\n' + line;
    return text;
  }

  Exit exit_code;
  std::string reason;
  std::string store;
  std::vector<std::string> more{};  // further lines
};

}  // namespace vrrpconvert
