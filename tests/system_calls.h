// Counts the calls that read or change files, and SQLite's allocations. The Nth call, or every call from the Nth on,
// fails, or the process is killed at the Nth call. Syncs are counted and not performed, because they protect only
// against power failures.
#ifndef TESTS_SYSTEM_CALLS_H
#define TESTS_SYSTEM_CALLS_H

struct SystemCalls {
  enum Kind { file, memory };

  static Kind kind;        // kind of the counted calls
  static int made;         // number of calls so far
  static int due;          // number of the failing call, from 1; 0 for none
  static bool persistent;  // whether all later calls fail too
  static int error;        // errno of a failing file call; 0: the process is killed

  // Counts a call. Returns whether it fails.
  static bool fails(Kind of_kind);

  // Makes SQLite allocate through this class. Call before any other SQLite function.
  static void configure_sqlite();
};

#endif
