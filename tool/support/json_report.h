// The report of a command as one JSON object on standard output.
#ifndef TOOL_SUPPORT_JSON_REPORT_H
#define TOOL_SUPPORT_JSON_REPORT_H

#include <iostream>
#include <string>

#include "tool/support/error.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

class JsonReport {
 public:
  JsonReport() = default;
  JsonReport(const JsonReport&) = delete;
  JsonReport& operator=(const JsonReport&) = delete;

  // Begins the object; end() of the writer ends it.
  JsonWriter& begin() {
    writer_.begin_object();
    writer_.member("schema", 1u);
    return writer_;
  }

  // Reports a failure: in the object that it cuts short, so that there is still one, or in one of its own.
  void fail(const std::string& problem, Exit code) {
    if (writer_.depth() == 0) begin();
    writer_.close_down_to(1);
    writer_.member("problem", problem);
    writer_.member("exit", static_cast<unsigned>(code));
    writer_.end();
  }

 private:
  std::string text_;
  JsonWriter writer_{text_, &std::cout};
};

}  // namespace vrrpconvert

#endif
