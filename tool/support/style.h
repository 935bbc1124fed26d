// Colours, if standard output is a terminal that supports them and NO_COLOR is not set.
#pragma once

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tool/support/printable.h"

namespace vrrpconvert {

enum class Style { bold, red, green, yellow };

inline std::string styled(Style style, const std::string& text) {
  const char *no_color = getenv("NO_COLOR"), *terminal = getenv("TERM");
  if (isatty(STDOUT_FILENO) != 1 || (no_color != nullptr && *no_color != '\0')) return text;
  if (terminal != nullptr && terminal == std::string("dumb")) return text;
  static constexpr const char* codes[] = {"\033[1m", "\033[31m", "\033[32m", "\033[33m"};
  return codes[static_cast<int>(style)] + text + "\033[0m";
}

// Returns a decision in its colour.
inline std::string styled_decision(const std::string& decision) {
  const std::string text = printable(decision);
  if (text.starts_with("NO-GO")) return styled(Style::red, text);
  return text.starts_with("GO") ? styled(Style::green, text) : text;
}

// Returns the number of columns of the terminal on standard output, or 0 if it is not a terminal.
inline size_t terminal_width() {
  winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace vrrpconvert
