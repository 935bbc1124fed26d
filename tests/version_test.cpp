// Version texts, and the decision to convert.

#include <climits>

#include "tests/library_test.h"

namespace {

constexpr char unreadable[] = "2147483647.2147483647(2147483647)";

class VersionTest : public LibraryTest {
 protected:
  std::string corrected(const std::string& text) {
    platform.version_files["file"] = text;
    char buffer[VRRP_CNV_VERSION_TEXT_MAX];
    memset(buffer, 'x', sizeof buffer);
    vrrp_mgr_get_corrected_pkg_ver("9.9(9)", "file", buffer);
    return buffer;
  }
};

TEST_F(VersionTest, IsBroughtToItsNormalForm) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {{"4.2(1)", "4.2(1)"},
               {"4.2(1a)", "4.2(1)"},
               {"4.2(0.48)", "4.2(0)"},
               {"4.2(1) [build 7]\n", "4.2(1)"},
               {" 4.2(1)", "4.2(1)"},
               {"-1.0(0)", "-1.0(0)"},
               // A missing patch number is later than any other. A number that does not fit is clamped.
               {"4.1", "4.1(2147483647)"},
               {"4.1(x", "4.1(2147483647)"},
               {"4294967300.1(1)", "2147483647.1(1)"},
               {"-9999999999.1(1)", "-2147483648.1(1)"},
               // A text without major and minor number is not a release.
               {"3", unreadable},
               {"3rd floor", unreadable},
               {"3.x(1)", unreadable},
               {"0x40.2(1)", unreadable},
               {"-0x", unreadable},
               {"", unreadable},
               {"release 4.1(2)", unreadable}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(corrected(text), expected) << text;
}

TEST_F(VersionTest, UnreadableFileCountsAsLaterThanAnyRelease) {
  char buffer[VRRP_CNV_VERSION_TEXT_MAX] = "";
  vrrp_mgr_get_corrected_pkg_ver("4.1(2)", "absent", buffer);
  EXPECT_STREQ(buffer, unreadable);
  vrrp_mgr_get_corrected_pkg_ver(nullptr, nullptr, buffer);
  EXPECT_STREQ(buffer, unreadable);
  EXPECT_THAT(platform.calls, testing::ElementsAre("srg_sw_ver_file_get absent", "srg_sw_ver_file_get null"));
}

TEST_F(VersionTest, IsSplitAsFarAsItGoes) {
  const struct {
    const char* text;
    int32 count, major, minor, patch;
  } cases[] = {
      {"5.0(2)", 3, 5, 0, 2}, {"5.0", 2, 5, 0, -7},      {"5", 1, 5, -7, -7},   {"x", 0, -7, -7, -7},
      {"", -1, -7, -7, -7},   {nullptr, -1, -7, -7, -7}, {"5.0(2", 3, 5, 0, 2}, {"5.99999999999", 2, 5, INT_MAX, -7}};
  for (const auto& c : cases) {
    int32 major = -7, minor = -7, patch = -7;
    EXPECT_EQ(vrrp_mgr_split_version(c.text, &major, &minor, &patch), c.count) << (c.text ? c.text : "null");
    EXPECT_THAT((std::vector{major, minor, patch}), testing::ElementsAre(c.major, c.minor, c.patch));
  }
}

TEST_F(VersionTest, IsComparedWithTheBoundary) {
  const struct {
    int32 major, minor, patch;
    bool_t older;
  } releases[] = {{3, 9, 9, 1},
                  {4, 1, 5, 1},
                  {4, 2, 0, 1},
                  {4, 2, 1, 0},
                  {4, 2, 2, 0},
                  {4, 3, 0, 0},
                  {5, 0, 0, 0},
                  {4, 1, INT_MAX, 1},
                  {4, 2, INT_MIN, 1},
                  {-1, 9, 9, 1},
                  {INT_MAX, INT_MAX, INT_MAX, 0}};
  for (const auto& r : releases) {
    // The other release gives the opposite result, so that the test fails if the function compares the wrong release.
    const int32 other = r.older ? 9 : 1;
    EXPECT_EQ(vrrp_mgr_check_if_conversion_necessary(1, 4, 2, 1, r.major, r.minor, r.patch, other, 0, 0), r.older)
        << r.major << "." << r.minor << "(" << r.patch << ")";
    for (const uint32 downgrade_mode : {0u, 2u, 0xffffffffu}) {
      EXPECT_EQ(vrrp_mgr_check_if_conversion_necessary(downgrade_mode, 4, 2, 1, other, 0, 0, r.major, r.minor, r.patch),
                r.older)
          << r.major << "." << r.minor << "(" << r.patch << ") mode " << downgrade_mode;
    }
  }
}

}  // namespace
