// The library on the scripted platform, with the trace log open or absent.
#ifndef TESTS_LIBRARY_TEST_H
#define TESTS_LIBRARY_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "libconvertvrrp.h"
#include "platform/syserr.h"
#include "tests/scripted_platform.h"
#include "tests/trace_log.h"

class LibraryTest : public testing::Test {
 protected:
  LibraryTest() {
    ScriptedPlatform::reset();
    trace_fd = -1;
    log.create();
    platform.version_files = {{"to", "4.2(1)"}, {"from", "4.1(2)"}};
    setenv("SYSMGR_TO_SRG_PATH", "to", 1);
    setenv("SYSMGR_FROM_SRG_PATH", "from", 1);
    setenv("SYSMGR_VDC_ID", "1", 1);
  }
  ~LibraryTest() override {
    trace_fd = -1;
    EXPECT_EQ(platform.stores_open, 0) << "opened and closed stores differ";
  }

  void set_releases(const std::string& from, const std::string& to) {
    platform.version_files = {{"to", to}, {"from", from}};
  }

  // Opens the log as an entry point does, for tests that call an internal operation, and removes the line of the entry
  // point.
  void open_log() {
    convert_running("", "", "");
    skipped_lines_ = log.lines().size();
  }

  std::vector<std::string> lines() const {
    const auto all = log.lines();
    return {all.begin() + static_cast<ptrdiff_t>(skipped_lines_), all.end()};
  }

  TraceLog log;
  ScriptedPlatform& platform = ScriptedPlatform::get();

 private:
  size_t skipped_lines_ = 0;
};

#endif
