#include "tool/trace/log.h"

#include "tool/support/line_reader.h"

namespace vrrpconvert {

OtherLines read_trace_logs(const std::vector<std::string>& files, const std::function<void(const Call&)>& visit) {
  OtherLines others;
  CallReader calls(visit);
  for (const std::string& file : files) {
    LineReader lines(file, LongLine::is_split);
    std::string_view text;
    while (lines.next(text)) {
      if (text.empty()) continue;  // as after a record dump
      const bool is_trace = for_each_trace_line(text, lines.has_break(), [&](const TraceLine& line) {
        const auto event = event_of(line);
        if (event) {
          calls.take(line, *event, lines.name(), lines.line_number());
        } else {
          ++(line.function.starts_with("vrrp_dbg_print") ? others.dumped : others.unknown);
        }
      });
      others.foreign += is_trace ? 0 : 1;
    }
  }
  calls.finish();
  return others;
}

}  // namespace vrrpconvert
