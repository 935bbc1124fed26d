// What the library's trace reports of the records that it could not convert.
#ifndef TOOL_CONVERSION_TRACED_OUTCOMES_H
#define TOOL_CONVERSION_TRACED_OUTCOMES_H

#include <cstddef>
#include <map>
#include <string>

namespace vrrpconvert {

class TracedOutcomes {
 public:
  // Takes the next line of the trace, "<time> operation:line message". Only failures are kept.
  void add_line(const std::string& line);

  // Why the record at `position` among those of `kind`, in key order, failed; empty where nothing is known of it.
  std::string failure_of(const std::string& kind, size_t position) const;

 private:
  // One trace line per record, in key order.
  struct Kind {
    size_t reported = 0;
    std::map<size_t, std::string> failures;
  };

  void add(const std::string& kind, const std::string& failure);

  std::string current_;  // the kind that is being converted
  std::map<std::string, Kind> kinds_;
  std::string general_;  // the latest failure that was not about one record
};

}  // namespace vrrpconvert

#endif
