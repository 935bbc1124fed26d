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
  void fail(const Error& error) {
    const bool is_new = writer_.depth() == 0;
    if (is_new) begin();
    writer_.close_down_to(1);
    if (is_new) writer_.member_or_null("store", error.store);
    writer_.member("problem", error.what());
    writer_.member("reason", error.reason);
    writer_.member("exit", static_cast<unsigned>(error.exit_code));
    writer_.end();
  }

 private:
  std::string text_;
  JsonWriter writer_{text_, &std::cout};
};

}  // namespace vrrpconvert

#endif
