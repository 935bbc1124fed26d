#include "tool/support/progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace vrrpconvert {

Progress::Progress(std::string label, size_t total)
    : label_(std::move(label)), total_(total), next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
}

bool Progress::is_wanted() { return isatty(STDERR_FILENO) == 1; }

void Progress::show(size_t done) {
  if (!is_wanted_ || Clock::now() < next_) return;
  next_ = Clock::now() + std::chrono::milliseconds(100);
  shown_ = true;
  constexpr size_t width = 40;
  const size_t filled = total_ > 0 ? std::min(width, done * width / total_) : 0;
  std::cerr << "\r\033[K" << label_ << " [" << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
            << (total_ > 0 ? std::to_string(std::min(done, total_) * 100 / total_) + " %" : std::to_string(done))
            << std::flush;
}

}  // namespace vrrpconvert
