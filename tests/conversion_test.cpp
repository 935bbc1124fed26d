// The handlers and what they do to a store: removal for an upgrade, copy in the old layout for a downgrade. The order
// of their calls and lines is in driver_test.cpp.

#include "tests/library_test.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char removal[] = "vrrp_delete_rc_pss_recs_for_upgrade ";
constexpr char copy[] = "vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade ";
constexpr char upgrade[] = "vrrp_mgr_handle_upgrade_to_4_2_1 ";

class ConversionTest : public LibraryTest {
 protected:
  ConversionTest() { open_log(); }

  // A fresh start with these records, and with this one failure.
  void prepare(const std::map<Bytes, Bytes>& records, const Failure& failure) {
    platform.records = records;
    platform.counts.clear();
    platform.failures = {failure};
    if (trace_fd != -1) open_log();
  }

  static std::map<Bytes, Bytes> upgraded() {
    return {{track_key, track_value}, {hex("07ff"), "a record of an unknown kind"}};
  }

  static std::map<Bytes, Bytes> downgraded() {
    auto records = sample_store(true);
    records[global_info_key] = Bytes(1, '\1') + Bytes(20, '\0');
    return records;
  }

  // How many records of `before` are not what they should be, each of them as it was before.
  int count_left(const std::map<Bytes, Bytes>& before, const std::map<Bytes, Bytes>& expected) const {
    int left = 0;
    for (const auto& [key, value] : platform.records) {
      if (expected.count(key) == 1 && expected.at(key) == value) continue;
      ++left;
      EXPECT_EQ(value, before.at(key));
    }
    return left;
  }
};

TEST_F(ConversionTest, AnUpgradeRemovesThreeKindsOfEitherLayoutAndNothingElse) {
  for (const bool old_layout : {true, false}) {
    prepare(sample_store(old_layout), {});
    EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, VRRP_CONVERT_GSYNC, "1"), 0u);
    EXPECT_EQ(platform.records, upgraded());
    EXPECT_EQ(platform.snapshot, sample_store(old_layout)) << "taken before the first record went";
  }
  prepare({}, {});
  EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
  EXPECT_THAT(lines(), testing::ElementsAre(HasSubstr("Failed to delete global info"), HasSubstr("VR records = 0"),
                                            HasSubstr("VIP records = 0")));
}

TEST_F(ConversionTest, ADowngradeCutsEveryRecordInPlaceOnce) {
  platform.records = sample_store(false);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(vrrp_mgr_handle_downgrade_from_4_2_1(7, 7), 0u);
    EXPECT_EQ(platform.records, downgraded()) << "a second downgrade leaves converted records as they are";
  }
  EXPECT_THAT(lines(), testing::Each(testing::StartsWith(copy))) << "the handler has nothing to say";
}

TEST_F(ConversionTest, ADowngradeReadsTheEngineStoreAndWritesTheManagerStore) {
  platform.records = sample_store(false);
  vrrp_mgr_handle_downgrade_from_4_2_1(3, 4);
  for (const char* read : {"pss_move2key", "pss_move2location", "pss_getvalue"}) {
    EXPECT_THAT(platform.calls_of(read), testing::Each(testing::StartsWith("4"))) << read;
  }
  EXPECT_THAT(platform.calls_of("pss_store"), testing::Each(testing::StartsWith("3 1 "))) << "store 3, PSS_REPLACE";
}

TEST_F(ConversionTest, ADowngradeKeepsARecordUnderAForeignKeyAndAddsItsOldForm) {
  const auto record = vr_record(0x77, 9);
  platform.records = {{hex("01ff"), bytes_of_record(record)}};
  vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7);
  EXPECT_EQ(platform.records[hex("01ff")], bytes_of_record(record));
  EXPECT_EQ(platform.records[key_of(record)], bytes_of_record(record).substr(0, 85));
}

// Each of the seven records in turn fails, with the log open and closed: it stays as it was, and the others are
// handled.
TEST_F(ConversionTest, GoesOnAfterEachRecordThatFails) {
  for (const bool log_is_open : {true, false}) {
    if (!log_is_open) trace_fd = -1;
    for (int nth = 1; nth <= 7; ++nth) {
      prepare(sample_store(true), {"pss_delete", nth, SYSERR_PSS_NOKEY});
      EXPECT_EQ(vrrp_delete_rc_pss_recs_for_upgrade(7), 0u);
      EXPECT_EQ(count_left(sample_store(true), upgraded()), 1);
      const std::string error = nth == 1 ? "Failed to delete global info"
                                         : "Error deleting PSS VR record; Ret_val = 0x40480003, text of 0x40480003";
      EXPECT_EQ(platform.counts["syserr2str"], log_is_open && nth > 1 ? 1 : 0);
      if (log_is_open) {
        EXPECT_THAT(lines(), Contains(removal + error));
        EXPECT_EQ(lines().size(), 15u) << "exactly one of error and success is written";
      }

      prepare(sample_store(false), {"pss_store", nth, 0x80000002});
      EXPECT_EQ(vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7), 0u);
      EXPECT_EQ(count_left(sample_store(false), downgraded()), 1);
      const std::string store_error = nth == 1
                                          ? "Failed to store global info : Ret_val 0x80000002"
                                          : "Error storing record in PSS: Ret_val = -2147483646, text of 0x80000002";
      EXPECT_EQ(platform.counts["syserr2str"], log_is_open && nth > 1 ? 1 : 0);
      if (log_is_open) {
        EXPECT_THAT(lines(), Contains(copy + store_error));
        EXPECT_EQ(lines().size(), 9u);
      }
    }
  }
  EXPECT_EQ(platform.failures_fired, 28);
}

// The bulk reads of the VR configuration and of the IP association records start with the positionings 1 and 3.
TEST_F(ConversionTest, EndsWhenABulkReadFails) {
  const struct { int nth_positioning, left_by_upgrade, left_by_downgrade; } cases[] = {{1, 6, 6}, {3, 3, 3}};
  for (const auto& c : cases) {
    const bool reads_vr = c.nth_positioning == 1;
    prepare(sample_store(true), {"pss_move2key", c.nth_positioning, 0x80000001});
    EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, VRRP_CONVERT_GSYNC, "1"), 0u);
    EXPECT_EQ(count_left(sample_store(true), upgraded()), c.left_by_upgrade);
    EXPECT_THAT(lines(), Contains(std::string(removal) + "Error getting PSS records in bulk; Ret = -2147483647"));
    EXPECT_EQ(lines().back(), std::string(upgrade) + (reads_vr ? "Deleted RC recs in Mgr for upgrade"
                                                               : "Error deleting PSS recs in upgrade : 0x80000001"));

    prepare(sample_store(false), {"pss_move2key", c.nth_positioning, 0x80000001});
    EXPECT_EQ(vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7), 0x80000001u);
    EXPECT_EQ(count_left(sample_store(false), downgraded()), c.left_by_downgrade);
    EXPECT_EQ(lines().back(), std::string(copy) + "Error getting PSS records in bulk; Ret = -2147483647");
    platform.counts.clear();
    EXPECT_EQ(vrrp_mgr_handle_downgrade_from_4_2_1(7, 7), 0u);
    EXPECT_EQ(lines().back(),
              "vrrp_mgr_handle_downgrade_from_4_2_1 Error copying PSS recs from Mgr to Engine's RC PSS");
  }
}

TEST_F(ConversionTest, AnUpgradeRemovesThoughTheSnapshotFailed) {
  prepare(sample_store(true), {"pss_snapshot", 1, 0x99});
  EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, VRRP_CONVERT_GSYNC, "1"), 0u);
  EXPECT_EQ(platform.records, upgraded());
  EXPECT_THAT(lines(), Contains(std::string(upgrade) + "Error in taking snapshot of Mgr's PSS: text of 0x99"));
  EXPECT_THAT(lines(), Not(Contains(HasSubstr("Taken snapshot"))));
}

TEST_F(ConversionTest, AnUpgradeNamesItsSnapshotByTypeAndVdc) {
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
