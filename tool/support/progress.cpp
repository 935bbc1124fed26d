#include "tool/support/progress.h"

#include <algorithm>

namespace vrrpconvert {
namespace {

void (*show_text)(std::string_view text) = nullptr;
constexpr char clear_line[] = "\r\033[K";

}  // namespace

Progress::Progress(std::string label, size_t total)
    : label_(std::move(label)), total_(total), next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) show_text(clear_line);
}

void Progress::show_with(void (*show)(std::string_view text)) { show_text = show; }

void Progress::show(size_t done) {
  if (show_text == nullptr || Clock::now() < next_) return;
  next_ = Clock::now() + std::chrono::milliseconds(100);
  shown_ = true;
  if (total_ == 0) return show_text(clear_line + label_ + ": " + std::to_string(done));
  constexpr size_t width = 40;
  const size_t reached = std::min(done, total_), filled = reached * width / total_;
  show_text(clear_line + label_ + " [" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " +
            std::to_string(reached * 100 / total_) + " %");
}

}  // namespace vrrpconvert
