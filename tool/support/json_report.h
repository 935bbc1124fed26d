// The report of a command as one JSON object. Its first member is "schema", its last ones are "problem", "reason" and
// "exit".
#pragma once

#include <ostream>
#include <string>

#include "tool/support/error.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

class JsonReport {
 public:
  explicit JsonReport(std::ostream& stream) : writer_(text_, &stream) {}
  JsonReport(const JsonReport&) = delete;
  JsonReport& operator=(const JsonReport&) = delete;

  JsonWriter& begin() {
    writer_.begin_object();
    writer_.member("schema", uint32{1});
    return writer_;
  }

  void end(const Ending& ending) {
    writer_.members(ending);
    writer_.end();
  }

  // Prints a whole report.
  void print(const Json& members, const Ending& ending = {}) {
    begin().members(members);
    end(ending);
  }

  // Reports a failure. If an object is unfinished, ends it with the failure, so that the output is one object.
  // Otherwise prints a new object.
  void fail(const Error& error) {
    const bool is_new = writer_.depth() == 0;
    if (is_new) begin();
    writer_.close_down_to(1);
    if (is_new) writer_.member("store", or_null(error.store));
    end(error.ending());
  }

 private:
  std::string text_;
  JsonWriter writer_;
};

}  // namespace vrrpconvert
