// The trace log in tests: the library's path is redirected to a temporary directory, and calls on the log are counted.
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

  // Returns the lines without time stamp and line number: "operation message".
  std::vector<std::string> lines() const;

  // Numbers of calls since the test began: open of the log, write and fsync on it.
  static int opens, open_flags, writes, syncs;

  // Trace lines as in lines(), and events that a test adds, in order. A line that is not synced at once, or a sync
  // without a line, is an additional event.
  static std::vector<std::string> events;
  // While true, write and fsync on the log fail.
  static bool broken;

  // The temporary directory.
  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;
};

#endif
