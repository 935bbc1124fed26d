// A report as one JSON object, printed member by member: a list in it is as long as a store, and never kept.
#ifndef TOOL_JSON_REPORT_H
#define TOOL_JSON_REPORT_H

#include <iostream>
#include <string>

#include "tool/json.h"

namespace vrrpconvert {

class JsonReport {
 public:
  JsonReport() { std::cout << "{\"schema\":1"; }
  JsonReport(const JsonReport&) = delete;
  JsonReport& operator=(const JsonReport&) = delete;

  void add(const char* name, const Json& value) { std::cout << ",\"" << name << "\":" << dumped(value); }

  void begin_list(const char* name) {
    std::cout << ",\"" << name << "\":[";
    is_first_ = true;
  }
  void add_item(const std::string& json) {
    std::cout << (is_first_ ? "\n" : ",\n") << json;
    is_first_ = false;
  }
  void end_list() { std::cout << ']'; }

  void end() { std::cout << "}\n"; }

 private:
  bool is_first_ = true;
};

}  // namespace vrrpconvert

#endif
