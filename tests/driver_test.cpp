// Entry points and driver: which store is opened, which handler runs, and what is traced on the way.

#include "tests/library_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

class DriverTest : public LibraryTest {
 protected:
  // The driver's lines without the operation's name.
  std::vector<std::string> driver_lines() const {
    std::vector<std::string> found;
    const std::string name = "vrrp_mgr_handle_generic_convert ";
    for (const auto& line : log.lines()) {
      if (line.rfind(name, 0) == 0) found.push_back(line.substr(name.size()));
    }
    return found;
  }
};

TEST_F(DriverTest, UpgradesAGlobalSynchronisationStepByStep) {
  EXPECT_EQ(convert_gsync("/d", "pkg", "to-arg", "from-arg"), 0u);
  EXPECT_EQ(log.lines().front(), "convert_gsync Conversion routine called");
  EXPECT_THAT(driver_lines(),
              ElementsAre("Entering upgrade/downgrade code path in Mgr",
                          "Opened Mgr's PSS File nonvolatile:/d/vrrp-cfg_runtime_config",
                          "Info: to srg path to from srg path from",
                          "Info: args: to_pkg_version to-arg from_pkg_version from-arg", "Getting version 4.2(1)",
                          "Getting version 4.1(2)", "from version = 4.1(2), to version = 4.2(1) ",
                          "from_major = 4, from_minor = 1, to_major = 4, to_minor = 2", "from_patch = 2, to_patch = 1",
                          "VDC ID = 1", "VDC string = 1", "Closed RC PSS file in Mgr", "Done with conversion in Mgr"));
  EXPECT_THAT(platform.calls, ElementsAre("pss_open nonvolatile:/d/vrrp-cfg_runtime_config", "srg_sw_ver_file_get to",
                                          "srg_sw_ver_file_get from", "pss_snapshot 0 nonvolatile:/tmp/vrrp-pss",
                                          "pss_delete 04000000", "pss_move2key 01", "pss_move2key 02", "pss_close 7"));
}

TEST_F(DriverTest, ChoosesTheHandlerByTheReleases) {
  const struct {
    const char *from, *to, *first_call_of_handler;
  } cases[] = {{"4.1(2)", "4.2(1)", "pss_snapshot"},
               {"4.1(2)", "4.1(3)", "pss_snapshot"},
               {"4.1", "5.0(1)", "pss_snapshot"},
               {"4.2(1)", "4.1(1)", "pss_store"},
               {"5.0(1)", "4.2(0)", "pss_store"},
               {"garbage", "4.1(1)", "pss_store"},
               {"4.2(1)", "5.0(1)", ""},
               {"4.2(1)", "4.2(1)", ""},
               {"garbage", "garbage", ""}};
  for (const auto& [from, to, expected] : cases) {
    for (const uint32 type : {0u, 1u, 2u, 3u}) {
      ScriptedPlatform::reset();
      set_releases(from, to);
      EXPECT_EQ(vrrp_mgr_handle_generic_convert("/d", "p", "", "", type), 0u);
      const bool converts = type == VRRP_CONVERT_GSYNC && *expected != '\0';
      const std::string fourth = platform.calls.at(3);
      EXPECT_EQ(fourth.substr(0, fourth.find(' ')), converts ? expected : "pss_close")
          << from << " to " << to << ", type " << type;
      EXPECT_EQ(platform.calls.back(), "pss_close 7");
    }
  }
}

TEST_F(DriverTest, DowngradesWithoutReportingTheClose) {
  set_releases("4.2(1)", "4.1(1)");
  platform.failures = {{"pss_close", 1, 0x99}};
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  auto lines = driver_lines();
  lines.erase(lines.begin(), lines.begin() + 11);
  EXPECT_THAT(lines, ElementsAre("Handling downgrade changes in Mgr", "Done with conversion in Mgr"));
  EXPECT_EQ(platform.counts["syserr2str"], 0);
}

TEST_F(DriverTest, InspectsAStartupStoreAndLeavesIt) {
  platform.records = sample_store(true);
  EXPECT_EQ(convert_startup("/d/vdc_3", "p", "", ""), 0u);
  EXPECT_EQ(platform.records, sample_store(true));
  EXPECT_EQ(log.lines().front(), "convert_startup Convert startup called");
  EXPECT_EQ(platform.calls.front(), "pss_open nonvolatile:/d/vdc_3/bin/vrrp-cfg_config_sav");
  auto lines = driver_lines();
  lines.erase(lines.begin(), lines.begin() + 9);
  EXPECT_THAT(lines, ElementsAre("VDC string = 3", "No conversion as it's startup"));
}

TEST_F(DriverTest, TakesAStartupVdcFromThePath) {
  const struct {
    const char* path;
    uint32 type;
    const char* vdc;  // null: refused
  } cases[] = {{"/d/bin", 1, ""},
               {"/d/vdc_3/bin", 1, "3"},
               {"/d/vdc_12345678/bin", 1, "1234567"},
               {"/vdc_2x/vdc_9/bin", 1, "2x/vdc_"},  // the first mark counts, the text is cut at 7 characters
               {"/vdc_4", 0, "4"},                   // too short to end in /bin behind the mark
               {"/vdc_456", 3, "456"},
               {"/vdc_51234", 0, "5"},  // the last four characters are no part of it, whatever they are
               {"/vdc_1234", 0, nullptr},
               {"/d/vdc_0/bin", 1, nullptr},
               {"/d/vdc_x/bin", 1, nullptr},
               {"/d/vdc_65536/bin", 1, nullptr},
               {"/d/vdc_4294967296/bin", 1, nullptr},
               {"/d/vdc_65537/bin", 1, "65537"},
               {"/d/vdc_ -1/bin", 1, " -1"}};
  for (const auto& [path, type, vdc] : cases) {
    ScriptedPlatform::reset();
    open_log();
    const syserr_t result = vrrp_mgr_handle_generic_convert(path, "p", "", "", type);
    EXPECT_EQ(platform.calls.back(), "pss_close 7") << path;
    if (vdc != nullptr) {
      EXPECT_EQ(result, 0u) << path;
      EXPECT_THAT(lines(), Contains(std::string("vrrp_mgr_handle_generic_convert VDC string = ") + vdc)) << path;
    } else {
      EXPECT_EQ(result, SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID) << path;
      EXPECT_EQ(lines().back(), "vrrp_mgr_handle_generic_convert Could not get vdc from path") << path;
    }
  }
}

TEST_F(DriverTest, TakesAGsyncVdcFromTheSystemManager) {
  const struct {
    const char *value, *number, *text, *snapshot;
  } cases[] = {{"1", "1", "1", ""},    {"2", "2", "2", "2"},   {"1234567", "57920", "123456", "123456"},
               {"x", "0", "x", "x"},   {"0", "0", "0", "0"},   {"", "0", "", ""},
               {nullptr, "0", "", ""}, {"01", "1", "01", "01"}};
  for (const auto& [value, number, text, snapshot] : cases) {
    ScriptedPlatform::reset();
    set_releases("4.1(2)", "4.2(1)");
    value != nullptr ? setenv("SYSMGR_VDC_ID", value, 1) : unsetenv("SYSMGR_VDC_ID");
    open_log();
    EXPECT_EQ(convert_gsync("/d/vdc_9", "p", "", ""), 0u);
    EXPECT_THAT(lines(), Contains(std::string("vrrp_mgr_handle_generic_convert VDC ID = ") + number));
    EXPECT_THAT(lines(), Contains(std::string("vrrp_mgr_handle_generic_convert VDC string = ") + text));
    EXPECT_THAT(platform.calls, Contains(std::string("pss_snapshot 0 nonvolatile:/tmp/vrrp-pss") + snapshot));
  }
}

TEST_F(DriverTest, EndsWhenTheStoreCannotBeOpened) {
  for (const Failure& failure : {Failure{"pss_open", 1, 5, true}, Failure{"pss_open", 1, 0, true}}) {
    ScriptedPlatform::reset();
    platform.failures = {failure};
    open_log();
    EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
    const std::string text = failure.status != 0 ? "text of 0x5" : "text of 0x0";
    EXPECT_EQ(lines().back(),
              "vrrp_mgr_handle_generic_convert Failed to open nonvolatile:/d/vrrp-cfg_runtime_config: " + text);
    EXPECT_THAT(platform.calls, ElementsAre("pss_open nonvolatile:/d/vrrp-cfg_runtime_config", "syserr2str"));
  }
}

TEST_F(DriverTest, ReportsACloseThatFailsAfterAnUpgrade) {
  platform.failures = {{"pss_close", 1, 0x99}};
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_THAT(driver_lines(), Contains("Error closing RC PSS file in Mgr : 0x99(text of 0x99)"));
  EXPECT_THAT(driver_lines(), Not(Contains("Closed RC PSS file in Mgr")));
  EXPECT_EQ(driver_lines().back(), "Done with conversion in Mgr");
}

TEST_F(DriverTest, BoundsPathsAndUrls) {
  const std::string fits(251, 'p'), too_long(252, 'p');
  open_log();
  EXPECT_EQ(convert_startup(too_long.c_str(), "p", "", ""), 0u);
  EXPECT_EQ(platform.counts["pss_open"], 0);
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
  EXPECT_THAT(driver_lines(), Contains("Info: to srg path (null) from srg path (null)"));
  EXPECT_THAT(driver_lines(), Contains("Info: args: to_pkg_version (null) from_pkg_version (null)"));
  EXPECT_THAT(platform.calls_of("srg_sw_ver_file_get"), ElementsAre("null", "null", "null", "null"));
}

TEST_F(DriverTest, KeepsTheReleasesOfTheLatestCall) {
  set_releases("4.2(7)", "6.1(3)");
  convert_gsync("/d", "p", "", "");
  EXPECT_THAT((std::vector{from_major, from_minor, from_patch, to_major, to_minor, to_patch}),
              ElementsAre(4, 2, 7, 6, 1, 3));
}

}  // namespace
