// What only shows when something inside the library fails: the memory of a key, and handlers that report a failure.

#include "tests/library_test.h"

namespace {

bool memory_is_short = false;
bool handlers_fail = false;

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return memory_is_short ? nullptr : __real_malloc(size); }

syserr_t __real_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string);
syserr_t __wrap_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string) {
  return handlers_fail ? 0x9ABCDEF0 : __real_vrrp_mgr_handle_upgrade_to_4_2_1(table, type, vdc_string);
}
syserr_t __real_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine);
syserr_t __wrap_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine) {
  return handlers_fail ? 0x9ABCDEF0 : __real_vrrp_mgr_handle_downgrade_from_4_2_1(manager, engine);
}
}

namespace {

class InsideTest : public LibraryTest {
 protected:
  ~InsideTest() override { memory_is_short = handlers_fail = false; }
};

TEST_F(InsideTest, AHandlerThatFailsDoesNotStopTheDriver) {
  const std::string driver = "vrrp_mgr_handle_generic_convert ";
  handlers_fail = true;
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_THAT(std::vector(TraceLog::events.end() - 4, TraceLog::events.end()),
              testing::ElementsAre(driver + "Error handling upgrade changes : Ret 0x9abcdef0", "pss_close 7",
                                   driver + "Closed RC PSS file in Mgr", driver + "Done with conversion in Mgr"));
  set_releases("4.2(1)", "4.1(1)");
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_THAT(std::vector(TraceLog::events.end() - 3, TraceLog::events.end()),
              testing::ElementsAre(driver + "Error handling downgrade changes : Ret -1698898192", "pss_close 7",
                                   driver + "Done with conversion in Mgr"));
  log.remove();
  trace_fd = -1;
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  set_releases("4.1(2)", "4.2(1)");
  EXPECT_EQ(convert_gsync("/d", "p", "", ""), 0u);
  EXPECT_EQ(platform.counts["pss_close"], 4);
}

TEST_F(InsideTest, MakeAfkKeyAnswersALackOfMemory) {
  char* key = reinterpret_cast<char*>(this);
  memory_is_short = true;
  EXPECT_EQ(make_afk_key(&key, key, 4), VRRP_CNV_ERR_NO_MEMORY);
  EXPECT_EQ(key, reinterpret_cast<char*>(this));
}

}  // namespace
