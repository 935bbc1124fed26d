// The report of a command as one JSON object.
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

  // Begins the object. The writer's end() ends it.
  JsonWriter& begin() {
    writer_.begin_object();
    writer_.member("schema", uint32{1});
    return writer_;
  }

  // Prints a whole report.
  void print(const Json& members) {
    begin().members(members);
    writer_.end();
  }

  // Reports a failure. If an object is unfinished, adds the failure and ends the object, so that the output is one
  // object. Otherwise prints a new object.
  void fail(const Error& error) {
    const bool is_new = writer_.depth() == 0;
    if (is_new) begin();
    writer_.close_down_to(1);
    if (is_new) writer_.member("store", error.store.empty() ? Json() : Json(error.store));
    writer_.members({{"problem", error.text()}, {"reason", error.reason}, {"exit", error.exit_code}});
    writer_.end();
  }

 private:
  std::string text_;
  JsonWriter writer_;
};

}  // namespace vrrpconvert
