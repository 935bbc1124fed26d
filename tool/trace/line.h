// Lines of the library's trace log: "<Wed Nov 25 08:43:55 2026> convert_gsync:93 Conversion routine called".
#pragma once

#include <functional>
#include <string_view>

namespace vrrpconvert {

struct TraceLine {
  std::string_view time;  // local time of the device, 24 characters
  std::string_view function;
  std::string_view message;  // without line break
  bool is_cut = false;       // the end of the message is missing
};

// Calls `visit` with each trace line in one line of a file. The library cuts a trace line at 999 characters, without a
// line break, so that the next trace line follows in the same line of the file. `has_break` is false for the last line
// of a file that ends without a line break. Returns false if the line begins with other text.
bool for_each_trace_line(std::string_view text, bool has_break, const std::function<void(const TraceLine&)>& visit);

}  // namespace vrrpconvert
