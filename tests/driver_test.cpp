// Entry points, driver and handlers: the sequence of platform calls and trace lines of whole calls, and each decision.
// fault_test.cpp tests failing calls.

#include "tests/library_test.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

class DriverTest : public LibraryTest {
 protected:
  // A store with one record of each kind, with numbers that distinguish print formats.
  void fill_store() {
    auto vr = vr_record(0xabcdef10, 200, 0x80000001);
    auto ip = ip_record(0xabcdef10, 200, 1);
    platform.records = {{key_of(vr), bytes_of_record(vr)}, {key_of(ip), bytes_of_record(ip)}};
  }

  // All events since the test began, one per line; "D " replaces the driver's name.
  static std::string events() {
    std::string all;
    for (std::string event : TraceLog::events) {
      const std::string driver = "vrrp_mgr_handle_generic_convert ";
      if (event.rfind(driver, 0) == 0) event = "D " + event.substr(driver.size());
      all += event + "\n";
    }
    return all;
  }
};

TEST_F(DriverTest, UpgradesStepByStep) {
  fill_store();
  set_releases("-4.-12(-13)", "-5.-16(-17)");
  EXPECT_EQ(convert_gsync("/d", "pkg", "to-arg", "from-arg"), 0u);
  EXPECT_EQ(events(), golden("upgrade.events"));
}

TEST_F(DriverTest, DowngradesStepByStep) {
  fill_store();
  set_releases("4.2(1)", "4.1(1)");
  platform.failures = {{"pss_close", 1, 0x99}};  // a failed close after a downgrade is not traced
  EXPECT_EQ(convert_gsync("/d", "pkg", "", ""), 0u);
  EXPECT_EQ(events(), golden("downgrade.events"));
}

TEST_F(DriverTest, ChoosesTheHandlerByTheReleasesAndTheType) {
  const struct {
    const char *from, *to, *first_call_of_handler;
  } cases[] = {{"4.1(2)", "4.2(1)", "pss_snapshot"},
               {"4.1(2)", "4.1(3)", "pss_snapshot"},
               {"4.1", "5.0(1)", "pss_snapshot"},
               {"4.2(1)", "4.1(1)", "pss_store"},
               {"5.0(1)", "4.2(0)", "pss_store"},
               {"3rd floor", "4.1(1)", "pss_store"},
               {"5.0(1)", "3rd floor", ""},
               {"4.2(1)", "5.0(1)", ""},
               {"4.2(1)", "4.2(1)", ""},
               {"garbage", "garbage", ""}};
  for (const auto& [from, to, expected] : cases) {
    for (const uint32 type : {0u, 1u, 2u, 3u}) {
      SCOPED_TRACE(std::string(from) + " to " + to + ", type " + std::to_string(type));
      ScriptedPlatform::reset();
      set_releases(from, to);
      open_log();
      EXPECT_EQ(vrrp_mgr_handle_generic_convert("/d", "p", "", "", type), 0u);
      const bool is_startup = type == VRRP_CONVERT_STARTUP, converts = type == VRRP_CONVERT_GSYNC && *expected != '\0';
      EXPECT_EQ(platform.calls.at(0), is_startup ? "pss_open nonvolatile:/d/vrrp-cfg_config_sav"
                                                 : "pss_open nonvolatile:/d/vrrp-cfg_runtime_config");
      const std::string fourth = platform.calls.at(3);
      EXPECT_EQ(fourth.substr(0, fourth.find(' ')), converts ? expected : "pss_close");
      EXPECT_EQ(lines().back(), std::string("vrrp_mgr_handle_generic_convert ") +
                                    (is_startup ? "No conversion as it's startup" : "Done with conversion in Mgr"));
    }
  }
}

TEST_F(DriverTest, TakesAStartupVdcFromThePath) {
  const struct {
    std::string path;
    uint32 type;
    const char* vdc;  // null: refused
  } cases[] = {{"/d/bin", 1, ""},
               {"/d/vdc_12345678/bin", 1, "1234567"},
               {"/vdc_2x/vdc_9/bin", 1, "2x/vdc_"},  // the first mark counts; the text is truncated to 7 characters
               {"/vdc_456", 3, "456"},
               {"/vdc_51234", 0, "5"},  // the last four characters are never part of the number
               {"/vdc_1234", 0, nullptr},
               {"/d/vdc_0/bin", 1, nullptr},
               {"/d/vdc_65536/bin", 1, nullptr},
               {"/d/vdc_4294967296/bin", 1, nullptr},
               {"/d/vdc_ -1/bin", 1, " -1"},
               {"/d/vdc_ \t\v\f\r+7x/bin", 1, " \t\v\f\r+7"},
               {"/d/vdc_- 7/bin", 1, nullptr},
               {"/d/vdc_-7bin", 0, nullptr},  // blanks, sign and digits after the text are ignored
               {"/d/vdc_   7bin", 0, nullptr},
               {"/d/vdc_-12", 0, "-12"},
               // A number of any length is read completely.
               {"/vdc_" + std::string(262, '0') + "5/bin", 1, "0000000"},
               {"/vdc_9223372036854775808/bin", 1, nullptr},
               {"/vdc_18446744073709551616/bin", 1, nullptr},
               {"/vdc_-18446744073709551615/bin", 1, "-184467"}};
  for (const auto& [path, type, vdc] : cases) {
    open_log();
    const syserr_t result = vrrp_mgr_handle_generic_convert(path.c_str(), "p", "", "", type);
    EXPECT_EQ(platform.calls.back(), "pss_close 7") << path;
    EXPECT_EQ(result, vdc != nullptr ? 0u : SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID) << path;
    const std::string line = vdc != nullptr ? std::string("VDC string = ") + vdc : "Could not get vdc from path";
    EXPECT_THAT(lines(), Contains("vrrp_mgr_handle_generic_convert " + line)) << path;
  }
}

TEST_F(DriverTest, TakesAGsyncVdcFromTheSystemManager) {
  const struct {
    const char *value, *number, *text, *snapshot;
  } cases[] = {{"1", "1", "1", ""},         {"2", "2", "2", "2"},   {"1234567", "57920", "123456", "123456"},
               {"x", "0", "x", "x"},        {"", "0", "", ""},      {nullptr, "0", "", ""},
               {"-2", "65534", "-2", "-2"}, {"01", "1", "01", "01"}};
  for (const auto& [value, number, text, snapshot] : cases) {
    value != nullptr ? setenv("SYSMGR_VDC_ID", value, 1) : unsetenv("SYSMGR_VDC_ID");
    open_log();
    EXPECT_EQ(convert_gsync("/d/vdc_9", "p", "", ""), 0u);
    EXPECT_THAT(lines(), Contains(std::string("vrrp_mgr_handle_generic_convert VDC ID = ") + number));
    EXPECT_THAT(lines(), Contains(std::string("vrrp_mgr_handle_generic_convert VDC string = ") + text));
    EXPECT_THAT(platform.calls, Contains(std::string("pss_snapshot 7 0 nonvolatile:/tmp/vrrp-pss") + snapshot));
  }
}

TEST_F(DriverTest, TruncatesUrlsTo255Characters) {
  const std::string fits(251, 'p'), too_long(252, 'p');
  open_log();
  EXPECT_EQ(convert_startup(too_long.c_str(), "p", "", ""), 0u);
  EXPECT_EQ(platform.counts["pss_open"], 0);
  EXPECT_EQ(lines().front(), "convert_startup Convert startup called");
  EXPECT_EQ(lines().back(), "convert_startup Startup path of 252 characters leaves no room for /bin");

  EXPECT_EQ(convert_startup(fits.c_str(), "p", "", ""), 0u);
  EXPECT_EQ(platform.calls_of("pss_open").at(0), ("nonvolatile:" + fits + "/bin").substr(0, 255));
  EXPECT_EQ(convert_gsync(std::string(5000, 'q').c_str(), "p", "", ""), 0u);
  EXPECT_EQ(platform.calls_of("pss_open").at(1), "nonvolatile:" + std::string(243, 'q'));
}

TEST_F(DriverTest, TakesNullTexts) {
  unsetenv("SYSMGR_TO_SRG_PATH");
  unsetenv("SYSMGR_FROM_SRG_PATH");
  EXPECT_EQ(convert_gsync(nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(convert_startup(nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(convert_running(nullptr, nullptr, nullptr), 0u);
  EXPECT_THAT(platform.calls_of("pss_open"),
              ElementsAre("nonvolatile:(null)/vrrp-cfg_runtime_config", "nonvolatile:(null)/bin/vrrp-cfg_config_sav"));
  EXPECT_THAT(log.lines(), Contains("vrrp_mgr_handle_generic_convert Info: to srg path (null) from srg path (null)"));
  EXPECT_THAT(platform.calls_of("srg_sw_ver_file_get"), ElementsAre("null", "null", "null", "null"));
}

// ---- The handlers alone ----

TEST_F(DriverTest, ADowngradeReadsTheEngineStoreAndWritesTheManagerStore) {
  platform.records = sample_store(false);
  vrrp_mgr_handle_downgrade_from_4_2_1(3, 4);
  for (const char* read : {"pss_move2key", "pss_move2location", "pss_getvalue"}) {
    EXPECT_THAT(platform.calls_of(read), testing::Each(testing::StartsWith("4"))) << read;
  }
  EXPECT_THAT(platform.calls_of("pss_store"), testing::Each(testing::StartsWith("3 1 "))) << "store 3, PSS_REPLACE";
}

TEST_F(DriverTest, AnUpgradeNamesItsSnapshotByTypeAndVdc) {
  const std::string running = "7 0 nonvolatile:/tmp/vrrp-pss", startup = "7 0 nonvolatile:/tmp/vrrp-startup-pss";
  const std::string long_text(300, '9');
  const struct {
    uint32 type;
    const char* vdc_string;
    std::string expected;
  } cases[] = {{2, "1", running},         {1, "1", startup},
               {0, "1", running},         {3, "2", running + "2"},
               {2, "10", running + "10"}, {2, "01", running + "01"},
               {2, "", running},          {1, "7", startup + "7"},
               {2, nullptr, running},     {2, long_text.c_str(), (running + long_text).substr(0, 4 + 255)}};
  for (const auto& c : cases) {
    EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, c.type, c.vdc_string), 0u);
    EXPECT_EQ(platform.calls_of("pss_snapshot").back(), c.expected);
  }
}

}  // namespace
