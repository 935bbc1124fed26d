// The trace log in tests: the library's fixed path is led to a directory of the test's own, and what is done to the log
// is counted.
#ifndef TESTS_TRACE_LOG_H
#define TESTS_TRACE_LOG_H

#include <string>
#include <vector>

class TraceLog {
 public:
  TraceLog();
  ~TraceLog();

  void create();
  void remove();
  bool exists() const;
  std::string text() const;

  // The lines without time stamp and line number: "operation message".
  std::vector<std::string> lines() const;

  // What was done since the test began: calls of open for the log, and of write and fsync on it.
  static int opens, open_flags, writes, syncs;

  // Trace lines as lines() gives them and whatever else a test adds, in the order in which they happened. A line that
  // is not synced at once, or a sync without a line, shows as an event of its own.
  static std::vector<std::string> events;
  // While true, write and fsync on the log fail.
  static bool broken;

  // A directory of the test's own.
  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;
};

#endif
