#include "tool/support/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace vrrpconvert {

Progress::Progress(std::string label, size_t total)
    : label_(std::move(label)), total_(total), next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
}

bool Progress::is_wanted() {
  const char* terminal = getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && (terminal == nullptr || terminal != std::string("dumb"));
}

void Progress::show(size_t done) {
  if (!is_wanted_ || Clock::now() < next_) return;
  next_ = Clock::now() + std::chrono::milliseconds(100);
  shown_ = true;
  std::cerr << "\r\033[K" << label_;
  if (total_ == 0) {
    std::cerr << ": " << done << std::flush;
    return;
  }
  constexpr size_t width = 40;
  const size_t reached = std::min(done, total_), filled = reached * width / total_;
  std::cerr << " [" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << reached * 100 / total_
            << " %" << std::flush;
}

}  // namespace vrrpconvert
