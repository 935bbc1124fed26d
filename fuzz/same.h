// What a fuzzer asks for: that the library does the same as the model, call by call and line by line.
#ifndef FUZZ_SAME_H
#define FUZZ_SAME_H

#include <gmock/gmock.h>
#include <stdlib.h>

#include "tests/model.h"
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

// Drives a conversion of `prepared` by both.
inline void expect_same(const ScriptedPlatform& prepared, const std::string& path, uint32 type, bool log_is_open) {
  static TraceLog log;
  TraceLog::broken = true;  // no line needs to reach the disk
  static const int log_fd = [] {
    log.create();
    convert_running("", "", "");
    return trace_fd;
  }();
  trace_fd = log_is_open ? log_fd : -1;
  const auto run = [&](const auto& drive) {
    ScriptedPlatform::get() = prepared;
    TraceLog::events.clear();
    drive();
    return TraceLog::events;
  };
  syserr_t result, expected_result;
  const auto events = run([&] { result = vrrp_mgr_handle_generic_convert(path.c_str(), "", "t", "f", type); });
  const auto records = ScriptedPlatform::get().records, snapshot = ScriptedPlatform::get().snapshot;
  auto expected_events = run([&] { expected_result = model::drive(path, "t", "f", type); });
  // Only the model reports when it takes memory.
  std::erase_if(expected_events, [](const std::string& event) { return event.rfind("calloc ", 0) == 0; });
  EXPECT_EQ(result, expected_result);
  EXPECT_EQ(events, expected_events);
  EXPECT_EQ(records, ScriptedPlatform::get().records);
  EXPECT_EQ(snapshot, ScriptedPlatform::get().snapshot);
  forget();
}

#endif
