// Colour, only where standard output is a terminal that has it and the operator did not say NO_COLOR.
#pragma once

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace vrrpconvert {

enum class Style { bold, red, green, yellow };

inline std::string styled(Style style, const std::string& text) {
  const char *no_color = getenv("NO_COLOR"), *terminal = getenv("TERM");
  if (isatty(STDOUT_FILENO) != 1 || (no_color != nullptr && *no_color != '\0')) return text;
  if (terminal != nullptr && terminal == std::string("dumb")) return text;
  static constexpr const char* codes[] = {"\033[1m", "\033[31m", "\033[32m", "\033[33m"};
  return codes[static_cast<int>(style)] + text + "\033[0m";
}

// How many columns the terminal on standard output has; 0 where there is none.
inline size_t terminal_width() {
  winsize size = {};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace vrrpconvert
