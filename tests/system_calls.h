// The calls by which this process reads and changes files, and those by which SQLite takes memory, counted: one of
// them, or all from it on, fail, or it is the last thing the process does. Syncs are counted and not carried out: what
// they are for is a loss of power, not the end of a process.
#ifndef TESTS_SYSTEM_CALLS_H
#define TESTS_SYSTEM_CALLS_H

struct SystemCalls {
  enum Kind { file, memory };

  static Kind kind;        // which of them are counted
  static int made;         // how many there were
  static int due;          // the one that fails, from 1; 0 for none
  static bool persistent;  // whether all behind it fail too
  static int error;        // what errno says of a file call that fails; 0: the process is killed

  // Counts a call. Returns whether it fails.
  static bool fails(Kind of_kind);

  // Lets SQLite take its memory here. Before anything else of SQLite.
  static void configure_sqlite();
};

#endif
