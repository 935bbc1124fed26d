// The file that the operator wants the library's trace lines in.
#pragma once

#include <string>

#include "tool/conversion/conversion.h"

namespace vrrpconvert {

// Throws Error unless the trace can go to `file`, which is then no store, and not named like one. Creates nothing.
void check_trace_file(const Conversion& conversion, const std::string& file);

// Open for appending, created if there is none; no file if the name is empty.
class TraceFile {
 public:
  explicit TraceFile(const std::string& file);  // throws Error
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;
  ~TraceFile();

  int descriptor() const { return fd_; }  // -1 for no file

 private:
  int fd_ = -1;
};

}  // namespace vrrpconvert
