// Trace log: when it is opened, the line format, and that its failures do not affect the conversion.

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <regex>

#include "tests/library_test.h"

using testing::ElementsAre;

namespace {

const int32 trace_fd_at_load = trace_fd;

class TraceTest : public LibraryTest {};

TEST_F(TraceTest, StaysClosedWithoutALogAndChangesNoResult) {
  log.remove();
  EXPECT_EQ(convert_running("p", "4.1(2)", "4.2(1)"), 0u);
  EXPECT_EQ(convert_gsync("/d", "p", "4.2(1)", "4.1(2)"), 0u);
  EXPECT_EQ(convert_startup("/vdc_0", "p", "4.2(1)", "4.1(2)"), SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID);
  EXPECT_EQ(convert_startup("/d", "p", "", ""), 0u);
  EXPECT_EQ(convert_startup(std::string(300, 'p').c_str(), "p", "", ""), 0u);
  EXPECT_EQ(TraceLog::opens, 5) << "each entry point tries";
  EXPECT_EQ(trace_fd, -1);
  EXPECT_FALSE(log.exists());
  EXPECT_EQ(platform.counts["syserr2str"], 0) << "arguments are not evaluated while the log is closed";
}

TEST_F(TraceTest, OpensOnceWithoutCreating) {
  EXPECT_EQ(trace_fd_at_load, -1);
  log.remove();
  convert_running("", "", "");
  log.create();
  convert_running("", "", "");
  const int fd = trace_fd;
  convert_startup("/d", "p", "", "");
  convert_gsync("/d", "p", "", "");
  EXPECT_EQ(TraceLog::opens, 2);
  EXPECT_EQ(TraceLog::open_flags, O_RDWR | O_APPEND);
  EXPECT_EQ(trace_fd, fd);
  EXPECT_EQ(log.lines().front(), "convert_running Convert running called");
}

TEST_F(TraceTest, WritesAndSyncsEachLineAsOne) {
  setenv("TZ", "XYZ-5:30", 1);  // so that local time is not UTC
  tzset();
  const time_t before = time(nullptr);
  convert_running("", "", "");
  EXPECT_TRUE(std::regex_match(
      log.text(),
      std::regex(R"(<\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}> convert_running:\d+ Convert running called\n)")))
      << log.text();
  EXPECT_EQ(log.text(), debug_str);
  EXPECT_EQ(log.text().substr(1, 24), std::string(ctime(&tstamp), 24));
  EXPECT_GE(tstamp, before);
  EXPECT_EQ(TraceLog::writes, 1);
  EXPECT_EQ(TraceLog::syncs, 1);
}

TEST_F(TraceTest, CutsALineAt999Characters) {
  open_log();
  vrrp_dbg_print_header(std::string(2000, 'x').c_str(), 1);
  EXPECT_EQ(strlen(debug_str), 999u);
  const std::string line = log.text().substr(log.text().find('\n') + 1);
  EXPECT_EQ(line.size(), 999u);
  EXPECT_EQ(line.back(), 'x');
}

}  // namespace
