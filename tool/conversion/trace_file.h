// The operator's file for the library's trace lines.
#pragma once

#include <string>

#include "tool/conversion/conversion.h"

namespace vrrpconvert {

// Throws Error if `file` cannot be a trace file, or is a store or has the name of one. Creates nothing.
void check_trace_file(const Conversion& conversion, const std::string& file);

// Opens the file for appending, and creates it if necessary. Opens no file if the name is empty.
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
