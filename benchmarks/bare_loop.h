// The least that a conversion of an embedded store can do: the statements that the platform runs for it, prepared once,
// over the same file format with the same checks of every row, and nothing of handles, cursors or traces.
#ifndef BENCH_BARE_LOOP_H
#define BENCH_BARE_LOOP_H

#include <filesystem>

namespace bench {

// Where the time goes, in seconds.
struct Phases {
  double check = 0;     // of the whole store, when it is opened
  double snapshot = 0;  // none in a downgrade
  double read = 0;      // in bulk, each kind twice
  double write = 0;
  double digest = 0;  // of the whole store anew
  double commit = 0;  // to a new file
};

// Throw std::runtime_error.
Phases bare_downgrade(const std::filesystem::path& store);
Phases bare_upgrade(const std::filesystem::path& store, const std::filesystem::path& snapshot);

// The same change in a plain table, as one statement and a durable commit.
void change_by_statement(const std::filesystem::path& table, bool is_upgrade);

}  // namespace bench

#endif
