// A progress bar on standard error, for work that takes more than a second, and only on a terminal.
#ifndef TOOL_SUPPORT_PROGRESS_H
#define TOOL_SUPPORT_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <string>

namespace vrrpconvert {

class Progress {
 public:
  // `total` is how much there is to do, in whatever unit; 0 where that is not known, and only what is done is shown.
  Progress(std::string label, size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void show(size_t done);

  // Whether there is a terminal to show it on: only then a total is worth a walk.
  static bool is_wanted();

 private:
  using Clock = std::chrono::steady_clock;
  std::string label_;
  size_t total_;
  bool is_wanted_ = is_wanted();
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace vrrpconvert

#endif
