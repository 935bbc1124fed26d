// The handlers and what they do to a store: removal for an upgrade, copy in the old layout for a downgrade. The order
// of their calls and lines is in driver_test.cpp, what fails is in fault_test.cpp.

#include "tests/library_test.h"

using testing::HasSubstr;

namespace {

constexpr char copy[] = "vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade ";

class ConversionTest : public LibraryTest {
 protected:
  ConversionTest() { open_log(); }

  static std::map<Bytes, Bytes> upgraded() {
    return {{track_key, track_value}, {hex("07ff"), "a record of an unknown kind"}};
  }

  static std::map<Bytes, Bytes> downgraded() {
    auto records = sample_store(true);
    records[global_info_key] = Bytes(1, '\1') + Bytes(20, '\0');
    return records;
  }
};

TEST_F(ConversionTest, AnUpgradeRemovesThreeKindsOfEitherLayoutAndNothingElse) {
  for (const bool old_layout : {true, false}) {
    platform.records = sample_store(old_layout);
    EXPECT_EQ(vrrp_mgr_handle_upgrade_to_4_2_1(7, VRRP_CONVERT_GSYNC, "1"), 0u);
    EXPECT_EQ(platform.records, upgraded());
    EXPECT_EQ(platform.snapshot, sample_store(old_layout)) << "taken before the first record went";
  }
  platform.records.clear();
  open_log();
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

TEST_F(ConversionTest, ADowngradeKeepsAMisplacedRecordAndAddsItsOldForm) {
  const auto record = vr_record(0x77, 9);
  platform.records = {{hex("01ff"), bytes_of_record(record)}};
  vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7);
  EXPECT_EQ(platform.records[hex("01ff")], bytes_of_record(record));
  EXPECT_EQ(platform.records[key_of(record)], bytes_of_record(record).substr(0, 85));
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
