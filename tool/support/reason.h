// Why a command ended: the table of reasons and exit statuses. The help has the statuses, the schema of the reports the
// reasons, the man page both; tests/endings_test compares them.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tool/support/json.h"

namespace vrrpconvert {

// Exit statuses, the same for every command.
enum Exit {
  exit_done = 0,
  exit_found = 1,
  exit_usage = 2,
  exit_bad_input = 3,
  exit_in_use = 4,
  exit_io = 5,
  exit_unknown = 6,
  exit_some_failed = 7,
  exit_interrupted = 130
};

// The meaning of an exit status, for the help.
struct ExitMeaning {
  Exit exit;
  const char* text;
};
std::span<const ExitMeaning> exit_meanings();

// The table of reasons: its word, which is a stable identifier for scripts, its exit status, and the next step for the
// operator, or "" if that depends on the case.
#define VRRPCONVERT_REASONS(X)                                                                              \
  X(already, exit_done, "")                                                                                 \
  X(empty, exit_done, "")                                                                                   \
  X(identical, exit_done, "")                                                                               \
  X(found, exit_found, "")                                                                                  \
  X(loss, exit_found, "")                                                                                   \
  X(mismatch, exit_found, "")                                                                               \
  X(other_snapshot, exit_found, "convert without --no-backup, or set --root to the device's own directory") \
  X(deleted, exit_found, "")                                                                                \
  X(differs, exit_found, "")                                                                                \
  X(not_converted, exit_found, "")                                                                          \
  X(not_configured, exit_found, "")                                                                         \
  X(configured, exit_done, "")                                                                              \
  X(downgraded, exit_done, "")                                                                              \
  X(no_vrrp, exit_done, "")                                                                                 \
  X(upgraded, exit_found, "")                                                                               \
  X(partly, exit_found, "")                                                                                 \
  X(unfinished, exit_found, "")                                                                             \
  X(lost, exit_found, "")                                                                                   \
  X(usage, exit_usage, "")                                                                                  \
  X(exists, exit_usage, "remove it, or choose another name")                                                \
  X(bad_input, exit_bad_input, "")                                                                          \
  X(missing, exit_bad_input, "")                                                                            \
  X(damaged, exit_bad_input, "restore a backup or snapshot (vrrpconvert restore)")                          \
  X(not_a_store, exit_bad_input, "expected a store that vrrpconvert import or the store's manager wrote")   \
  X(untrusted, exit_bad_input,                                                                              \
    "if the sidecar files STORE-journal and STORE-wal belong to the store, finish the change with the "     \
    "sqlite3 shell (sqlite3 STORE 'PRAGMA journal_mode=DELETE'); if not, remove them")                      \
  X(too_large, exit_bad_input, "the limit is 1 GiB")                                                        \
  X(bad_report, exit_bad_input, "")                                                                         \
  X(unreadable, exit_bad_input, "")                                                                         \
  X(no_backup, exit_bad_input, "")                                                                          \
  X(in_use, exit_in_use, "try again later")                                                                 \
  X(changed, exit_in_use, "run the dry run again")                                                          \
  X(io, exit_io, "")                                                                                        \
  X(permission, exit_io, "check the owner and mode of the file and its directory")                          \
  X(no_space, exit_io, "raise the file size limit (ulimit -f), or free space in the file system")           \
  X(no_memory, exit_io, "free memory and run the command again")                                            \
  X(not_examined, exit_io, "")                                                                              \
  X(unknown_outcome, exit_unknown, "run vrrpconvert check on the store")                                    \
  X(replaced, exit_unknown, "run vrrpconvert show to see its records")                                      \
  X(records_failed, exit_some_failed, "")                                                                   \
  X(would_fail, exit_some_failed, "")                                                                       \
  X(interrupted, exit_interrupted, "")

enum class Reason {
  none,
#define X(word, exit, advice) word,
  VRRPCONVERT_REASONS(X)
#undef X
};

// Returns the word; empty for Reason::none.
const char* word_of(Reason reason);

Exit exit_of(Reason reason);

// Returns all words.
std::vector<std::string> reason_words();

// Returns "; " and the next step, or an empty text.
std::string advice_for(Reason reason);

// The ending of a command.
struct Ending {
  Reason reason = Reason::none;
  std::string problem{};  // for the operator; may be empty

  Exit exit() const { return exit_of(reason); }
  bool is_good() const { return exit() == exit_done; }
};

// Writes "problem", "reason" and "exit".
void to_json(Json& json, const Ending& ending);

// Throws std::exception for an unknown reason, and for an exit status that is not the one of the reason.
void from_json(const Json& json, Ending& ending);

}  // namespace vrrpconvert
