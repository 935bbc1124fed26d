// What a fuzzer asks of a conversion: nothing open and nothing lost at its end, and the same calls with the trace log
// open and closed.
#ifndef FUZZ_CONVERSION_H
#define FUZZ_CONVERSION_H

#include <gmock/gmock.h>
#include <stdlib.h>

#include "platform/syserr.h"
#include "tests/scripted_platform.h"
#include "tests/trace_log.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  GTEST_FLAG_SET(throw_on_failure, true);  // which the fuzzer takes for a crash, and keeps the input
  setenv("SYSMGR_TO_SRG_PATH", "to", 1);
  setenv("SYSMGR_FROM_SRG_PATH", "from", 1);
  return 0;
}

// Ends an input: memory that is kept from one to the next looks like a leak.
inline void forget() {
  ScriptedPlatform::reset();
  std::vector<std::string>().swap(TraceLog::events);
}

// Drives a conversion of `prepared`, and leaves its result there: stores, calls and lines. Returns its status.
inline syserr_t convert(ScriptedPlatform& prepared, const std::string& path, uint32 type) {
  static TraceLog log;
  TraceLog::broken = true;  // no line needs to reach the disk
  static const int log_fd = [] {
    log.create();
    convert_running("", "", "");
    return trace_fd;
  }();
  const auto run = [&](int fd) {
    trace_fd = fd;
    ScriptedPlatform::get() = prepared;
    TraceLog::events.clear();
    const syserr_t result = vrrp_mgr_handle_generic_convert(path.c_str(), "", "t", "f", type);
    EXPECT_EQ(ScriptedPlatform::get().stores_open, 0);
    return result;
  };
  const syserr_t silent_result = run(-1);
  const ScriptedPlatform silent = ScriptedPlatform::get();
  const syserr_t result = run(log_fd);
  prepared = ScriptedPlatform::get();
  std::erase(prepared.calls, "syserr2str");
  EXPECT_EQ(result, silent_result);
  EXPECT_EQ(prepared.calls, silent.calls);
  EXPECT_EQ(prepared.records, silent.records);
  return result;
}

#endif
