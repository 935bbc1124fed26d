// What only shows when something inside the library fails: its allocations, and handlers that report a failure.

#include "tests/library_test.h"

using testing::Contains;

namespace {

int allocations_until_failure = 0;  // 0: none fails
bool handlers_fail = false;

bool fails_now() { return allocations_until_failure > 0 && --allocations_until_failure == 0; }

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return fails_now() ? nullptr : __real_malloc(size); }
void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size) { return fails_now() ? nullptr : __real_calloc(count, size); }

syserr_t __real_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string);
syserr_t __wrap_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string) {
  return handlers_fail ? 0x80000003 : __real_vrrp_mgr_handle_upgrade_to_4_2_1(table, type, vdc_string);
}
syserr_t __real_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine);
syserr_t __wrap_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine) {
  return handlers_fail ? 0x80000003 : __real_vrrp_mgr_handle_downgrade_from_4_2_1(manager, engine);
}
}

namespace {

class InsideTest : public LibraryTest {
 protected:
  ~InsideTest() override {
    allocations_until_failure = 0;
    handlers_fail = false;
  }
};

TEST_F(InsideTest, AHandlerThatFailsDoesNotStopTheDriver) {
  const std::string driver = "vrrp_mgr_handle_generic_convert ";
  handlers_fail = true;
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_THAT(std::vector(TraceLog::events.end() - 4, TraceLog::events.end()),
              testing::ElementsAre(driver + "Error handling upgrade changes : Ret 0x80000003", "pss_close 7",
                                   driver + "Closed RC PSS file in Mgr", driver + "Done with conversion in Mgr"));
  set_releases("4.2(1)", "4.1(1)");
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_THAT(std::vector(TraceLog::events.end() - 3, TraceLog::events.end()),
              testing::ElementsAre(driver + "Error handling downgrade changes : Ret -2147483645", "pss_close 7",
                                   driver + "Done with conversion in Mgr"));
}

TEST_F(InsideTest, MakeAfkKeyAnswersALackOfMemory) {
  char* key = reinterpret_cast<char*>(this);
  allocations_until_failure = 1;
  EXPECT_EQ(make_afk_key(&key, key, 4), VRRP_CNV_ERR_NO_MEMORY);
  EXPECT_EQ(key, reinterpret_cast<char*>(this));
}

// Each array in turn cannot be had: its kind stays as it was, and so does the kind behind it.
TEST_F(InsideTest, AConversionAnswersALackOfMemory) {
  for (const bool is_upgrade : {true, false}) {
    set_releases(is_upgrade ? "4.1(2)" : "4.2(1)", "4.1(1)");
    for (int nth = 1; nth <= 2; ++nth) {
      platform.records = sample_store(is_upgrade);
      const auto before = platform.records;
      allocations_until_failure = nth;
      EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
      EXPECT_EQ(allocations_until_failure, 0) << "the failure fired";
      EXPECT_THAT(log.lines(), Contains(testing::EndsWith("Error getting PSS records in bulk; Ret = 3")));
      const auto stayed = [&](const auto& record) {
        return (record.first[0] == 1 || record.first[0] == 2) && before.at(record.first) == record.second;
      };
      EXPECT_EQ(std::count_if(platform.records.begin(), platform.records.end(), stayed), nth == 1 ? 6 : 3);
    }
  }
}

}  // namespace
