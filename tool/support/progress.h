// A progress bar for work that takes more than a second. It is invisible unless main() calls show_with().
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace vrrpconvert {

class Progress {
 public:
  // `total` is the amount of work in any unit. If it is 0, the bar shows only the work done.
  Progress(std::string label, size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void show(size_t done);

  // Enables progress bars. The function `write` writes a text to a terminal.
  static void show_with(void (*write)(std::string_view text));

 private:
  using Clock = std::chrono::steady_clock;
  std::string label_;
  size_t total_;
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace vrrpconvert
