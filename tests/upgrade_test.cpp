// Upgrade: the snapshot, and the removal of the old-format records.

#include "tests/library_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

class UpgradeTest : public LibraryTest {
 protected:
  UpgradeTest() {
    platform.records = sample_store(true);
    open_log();
  }

  // The removal's lines without the operation's name.
  std::vector<std::string> removal_lines() const {
    std::vector<std::string> found;
    for (const auto& line : lines()) {
      const std::string name = "vrrp_delete_rc_pss_recs_for_upgrade ";
      if (line.rfind(name, 0) == 0) found.push_back(line.substr(name.size()));
    }
    return found;
  }

  // How many VR configuration and IP association records are left.
  size_t left(char key_type) const {
    return static_cast<size_t>(std::count_if(platform.records.begin(), platform.records.end(),
                                             [key_type](const auto& record) { return record.first[0] == key_type; }));
  }
};

TEST_F(UpgradeTest, RemovesTheThreeKindsOfEitherLayoutAndNothingElse) {
  for (const bool old_layout : {true, false}) {
    platform.records = sample_store(old_layout);
    EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
    EXPECT_THAT(platform.records,
                ElementsAre(testing::Pair(track_key, track_value), testing::Pair(hex("07ff"), testing::_)));
    EXPECT_THAT(removal_lines(), testing::IsSupersetOf(
                                     {"Deleted global info", "Number of VR records = 3", "Number of VIP records = 3"}));
  }
}

TEST_F(UpgradeTest, WorksAlikeOnAnEmptyStoreAndWithoutALog) {
  EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
  EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
  const auto found = removal_lines();
  EXPECT_THAT(std::vector<std::string>(found.end() - 3, found.end()),
              ElementsAre("Failed to delete global info", "Number of VR records = 0", "Number of VIP records = 0"));

  platform.records = sample_store(true);
  const std::string text = log.text();
  platform.counts.clear();
  platform.failures = {{"pss_delete", 2, 5}};
  trace_fd = -1;
  EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, 2, "1"), 0u);
  EXPECT_EQ(platform.records.size(), 3u);
  EXPECT_EQ(log.text(), text);
  EXPECT_EQ(platform.counts["syserr2str"], 0);
}

TEST_F(UpgradeTest, GoesOnAfterEachDeletionThatFails) {
  const char* error = "Error deleting PSS VR record; Ret_val = 0x40480003, text of 0x40480003";
  for (int nth = 1; nth <= 7; ++nth) {
    platform.records = sample_store(true);
    platform.counts.clear();
    platform.failures = {{"pss_delete", nth, SYSERR_PSS_NOKEY}};
    const size_t lines_before = removal_lines().size();
    EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
    EXPECT_EQ(platform.records.size(), 3u) << "only the record whose deletion failed stays";
    EXPECT_EQ(removal_lines().size() - lines_before, 15u) << "exactly one of error and success is written";
    const auto found = removal_lines();
    EXPECT_EQ(std::count(found.begin(), found.end(), error), nth - 1);
  }
  EXPECT_EQ(platform.failures_fired, 7);
  EXPECT_THAT(removal_lines(), Contains("Failed to delete global info"));
}

TEST_F(UpgradeTest, EndsWhenABulkReadFails) {
  // The reads of the VR configuration and of the IP association records start with the moves 1 and 3.
  platform.failures = {{"pss_move2key", 1, 0x99}};
  EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
  EXPECT_EQ(left(1), 3u);
  EXPECT_EQ(left(2), 3u);
  EXPECT_THAT(removal_lines(), ElementsAre("Deleted global info", "Error getting PSS records in bulk; Ret = 153"));

  platform.counts.clear();
  platform.failures = {{"pss_move2key", 3, 0x80000001}};
  EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, 2, "1"), 0u);
  EXPECT_EQ(left(1), 0u);
  EXPECT_EQ(left(2), 3u);
  EXPECT_EQ(removal_lines().back(), "Error getting PSS records in bulk; Ret = -2147483647");
  EXPECT_EQ(lines().back(), "vrrp_mgr_handle_upgrade_to_4_2_1 Error deleting PSS recs in upgrade : 0x80000001");
}

TEST_F(UpgradeTest, RemovesThoughTheSnapshotFailed) {
  platform.failures = {{"pss_snapshot", 1, 0x99}};
  EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, VRRP_CONVERT_GSYNC, "1"), 0u);
  EXPECT_EQ(platform.records.size(), 2u);
  EXPECT_THAT(lines(),
              Contains("vrrp_mgr_handle_upgrade_to_4_2_1 Error in taking snapshot of Mgr's PSS: text of 0x99"));
  EXPECT_THAT(lines(), Not(Contains(testing::HasSubstr("Taken snapshot"))));
}

TEST_F(UpgradeTest, NamesTheSnapshotByTypeAndVdc) {
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
