// Downgrade: every record rewritten in the old layout under its own key.

#include "tests/library_test.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

constexpr char copy[] = "vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade ";

class DowngradeTest : public LibraryTest {
 protected:
  DowngradeTest() {
    platform.records = sample_store(false);
    open_log();
  }

  // What a downgrade makes of the sample store.
  static std::map<Bytes, Bytes> downgraded() {
    auto records = sample_store(true);
    records[global_info_key] = Bytes(1, '\1') + Bytes(20, '\0');
    return records;
  }

  std::vector<std::string> copy_lines() const {
    std::vector<std::string> found;
    for (const auto& line : lines()) {
      if (line.rfind(copy, 0) == 0) found.push_back(line.substr(strlen(copy)));
    }
    return found;
  }
};

TEST_F(DowngradeTest, CutsEveryRecordInPlaceOnce) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(vrrp_mgr_handle_downgrade_from_4_2_1(7, 7), 0u);
    EXPECT_EQ(platform.records, downgraded()) << "a second downgrade leaves converted records as they are";
  }
  EXPECT_THAT(lines(), testing::Each(testing::StartsWith(copy))) << "the handler has nothing to say";
}

TEST_F(DowngradeTest, ReadsTheEngineStoreAndWritesTheManagerStore) {
  vrrp_mgr_handle_downgrade_from_4_2_1(3, 4);
  for (const char* read : {"pss_move2key", "pss_move2location", "pss_getvalue"}) {
    EXPECT_THAT(platform.calls_of(read), testing::Each(testing::StartsWith("4"))) << read;
  }
  EXPECT_THAT(platform.calls_of("pss_store"), testing::Each(testing::StartsWith("3 1 "))) << "store 3, PSS_REPLACE";
}

TEST_F(DowngradeTest, KeepsARecordUnderAForeignKeyAndAddsItsOldForm) {
  const auto record = vr_record(0x77, 9);
  platform.records = {{hex("01ff"), bytes_of_record(record)}};
  vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7);
  EXPECT_EQ(platform.records[hex("01ff")], bytes_of_record(record));
  EXPECT_EQ(platform.records[key_of(record)], bytes_of_record(record).substr(0, 85));
}

TEST_F(DowngradeTest, GoesOnAfterEachStoreThatFails) {
  for (int nth = 1; nth <= 7; ++nth) {
    for (const bool log_is_open : {true, false}) {
      if (!log_is_open) trace_fd = -1;
      platform.records = sample_store(false);
      platform.counts.clear();
      platform.failures = {{"pss_store", nth, 0x80000002}};
      EXPECT_EQ(vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7), 0u);
      const auto expected = downgraded(), before = sample_store(false);
      int left = 0;
      for (const auto& [key, value] : platform.records) {
        if (value == expected.at(key)) continue;
        ++left;
        EXPECT_EQ(value, before.at(key));
      }
      EXPECT_EQ(left, 1) << "only the record whose store failed is as it was";
      EXPECT_EQ(platform.counts["syserr2str"], log_is_open && nth > 1 ? 1 : 0);
    }
    open_log();
  }
  const auto all = log.lines();
  EXPECT_THAT(all, Contains(copy + std::string("Failed to store global info : Ret_val 0x80000002")));
  EXPECT_EQ(std::count(all.begin(), all.end(),
                       copy + std::string("Error storing record in PSS: Ret_val = -2147483646, text of 0x80000002")),
            6);
}

TEST_F(DowngradeTest, EndsWhenABulkReadFails) {
  const struct {
    int nth_positioning;  // 1: of the VR configuration records, 3: of the IP association records
    size_t lines;
    const char* untouched_types;
  } cases[] = {{1, 2, "\1\2"}, {3, 6, "\2"}};
  for (const auto& c : cases) {
    platform.records = sample_store(false);
    platform.counts.clear();
    platform.failures = {{"pss_move2key", c.nth_positioning, 0x80000001}};
    const size_t lines_before = copy_lines().size();
    EXPECT_EQ(vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(7, 7), 0x80000001u);
    EXPECT_EQ(copy_lines().size() - lines_before, c.lines);
    EXPECT_EQ(copy_lines().back(), "Error getting PSS records in bulk; Ret = -2147483647");
    for (const auto& [key, value] : platform.records) {
      const bool untouched = strchr(c.untouched_types, key[0]) != nullptr;
      EXPECT_EQ(value, untouched ? sample_store(false).at(key) : downgraded().at(key));
    }
    platform.counts.clear();
    EXPECT_EQ(vrrp_mgr_handle_downgrade_from_4_2_1(7, 7), 0u);
    EXPECT_EQ(lines().back(),
              "vrrp_mgr_handle_downgrade_from_4_2_1 Error copying PSS recs from Mgr to Engine's RC PSS");
  }
}

}  // namespace
