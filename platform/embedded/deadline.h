// The time at which a wait ends.
#ifndef PLATFORM_EMBEDDED_DEADLINE_H
#define PLATFORM_EMBEDDED_DEADLINE_H

#include <time.h>

#include <algorithm>

namespace pss_embedded {

class Deadline {
 public:
  explicit Deadline(int wait_ms) : end_ms_(now_ms() + wait_ms) {}

  int left_ms() const { return static_cast<int>(std::max(end_ms_ - now_ms(), 0LL)); }

  // Sleeps for 1 ms in the first call and twice as long in each later call, at most for 50 ms and never past the
  // deadline. After the deadline, returns false and does not sleep.
  bool pause() {
    const long long left_ms = end_ms_ - now_ms();
    if (left_ms <= 0) return false;
    const timespec pause = {0, static_cast<long>(std::min(left_ms, pause_ms_)) * 1000000};
    (void)nanosleep(&pause, nullptr);  // a signal only makes the caller try again early
    pause_ms_ = std::min(2 * pause_ms_, 50LL);
    return true;
  }

 private:
  static long long now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
  }

  long long end_ms_;
  long long pause_ms_ = 1;
};

}  // namespace pss_embedded

#endif
