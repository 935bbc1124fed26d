// A report as one JSON object, printed member by member: a list in it is as long as a store, and never kept.
#ifndef TOOL_JSON_REPORT_H
#define TOOL_JSON_REPORT_H

#include <iostream>
#include <string>

#include "tool/error.h"
#include "tool/json.h"

namespace vrrpconvert {

// There is one at a time, because there is one standard output.
class JsonReport {
 public:
  JsonReport() {
    std::cout << "{\"schema\":1";
    is_open_ = true;
  }
  JsonReport(const JsonReport&) = delete;
  JsonReport& operator=(const JsonReport&) = delete;

  void add(const char* name, const Json& value) { std::cout << ",\"" << name << "\":" << dumped(value); }

  void begin_list(const char* name) {
    std::cout << ",\"" << name << "\":[";
    is_in_list_ = true;
    is_first_ = true;
  }
  void add_item(const std::string& json) {
    std::cout << (is_first_ ? "\n" : ",\n") << json;
    is_first_ = false;
  }
  void end_list() {
    std::cout << ']';
    is_in_list_ = false;
  }

  void end() {
    std::cout << "}\n";
    is_open_ = false;
  }

  // Tells a failure: in the report that it cut short, so that this is still one object, or in one of its own.
  static void fail(const std::string& problem, Exit code) {
    if (!is_open_) JsonReport();
    std::cout << (is_in_list_ ? "]" : "") << ",\"problem\":" << dumped(problem) << ",\"exit\":" << code << "}\n";
  }

 private:
  static inline bool is_open_ = false, is_in_list_ = false;
  bool is_first_ = true;
};

}  // namespace vrrpconvert

#endif
