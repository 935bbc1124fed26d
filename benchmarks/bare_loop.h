// A minimal conversion of an embedded store: the statements of the platform, prepared once, on the same file format,
// with the same checks of every row, but without handles, cursors and trace lines.
#ifndef BENCH_BARE_LOOP_H
#define BENCH_BARE_LOOP_H

#include <filesystem>

namespace bench {

// Time of each phase, in seconds.
struct Phases {
  double check = 0;     // check of the whole store on open
  double snapshot = 0;  // 0 in a downgrade
  double read = 0;      // bulk reads, each kind twice
  double write = 0;
  double digest = 0;  // digest of the whole store
  double commit = 0;  // commit to a new file
};

// Run the conversion. Throw std::runtime_error.
Phases bare_downgrade(const std::filesystem::path& store);
Phases bare_upgrade(const std::filesystem::path& store, const std::filesystem::path& snapshot);

// Makes the same change in a plain table, with one statement and a durable commit.
void change_by_statement(const std::filesystem::path& table, bool is_upgrade);

}  // namespace bench

#endif
