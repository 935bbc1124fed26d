// A trace log: the library's file on a device, a copy of it, or several of them after a rotation.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/trace/call.h"

namespace vrrpconvert {

inline constexpr char trace_log_below_root[] = "bootflash/libconvertvrrpmgr.log";

// Numbers of lines that belong to no call.
struct OtherLines {
  size_t dumped = 0;   // record dumps
  size_t unknown = 0;  // trace lines that this version does not know
  size_t foreign = 0;  // other text

  JSON_MEMBERS(dumped, unknown, foreign)
};

// Reads the files as one log and calls `visit` with each call, latest last. Nothing in a file ends the reading. "-" is
// standard input. Throws Error if a file cannot be read.
OtherLines read_trace_logs(const std::vector<std::string>& files, const std::function<void(const Call&)>& visit);

}  // namespace vrrpconvert
