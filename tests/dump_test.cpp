// Record dumps as golden text. <printer> replaces the prefix of a piece.

#include <arpa/inet.h>

#include <regex>

#include "tests/library_test.h"

namespace {

class DumpTest : public LibraryTest {
 protected:
  // Returns the text since the log was opened, with short prefixes.
  std::string dumped() const {
    const std::string text = log.text();
    return std::regex_replace(text.substr(text.find('\n') + 1), std::regex(R"(<[^>]+> vrrp_dbg_print_(\w+):\d+ )"),
                              "<$1>");
  }

  // Returns a record whose byte at offset n is n - 1, except for the fields that are set here.
  static vrrp_config_record_t record() {
    vrrp_config_record_t r = vr_record(0x80000010, 255);
    r.primary_ip.addr_type = INET_ADDR_TYPE_IPV4;
    r.primary_ip.a.ipv4_addr.s_addr = htonl(0xC0000201);
    r.key[15] = 0;
    return r;
  }
};

TEST_F(DumpTest, OfBothLayouts) {
  vrrp_print_rc_pss_rec_new(record());
  EXPECT_EQ(log.text(), "") << "while the log is closed";
  open_log();
  vrrp_config_record_t new_record = record();
  vrrp_print_rc_pss_rec_new(new_record);
  EXPECT_EQ(TraceLog::writes, 1 + 40);
  vrrp_old_config_record_t old_record;
  memcpy(&old_record, &new_record, sizeof old_record);
  old_record.primary_ip.addr_type = INET_ADDR_TYPE_IPV6;
  vrrp_print_rc_pss_rec_old(old_record);
  EXPECT_EQ(TraceLog::writes, 1 + 40 + 37);
  EXPECT_EQ(dumped(), golden("records.dump"));
}

TEST_F(DumpTest, OfPieces) {
  open_log();
  vrrp_dbg_print_header("f", 2);
  vrrp_dbg_print_int_info(-1, nullptr);
  vrrp_dbg_print_int_arr_info(nullptr, "a", 0);
  vrrp_dbg_print_int_arr_info(nullptr, "b", -1);
  EXPECT_EQ(dumped(),
            "<header>f = { <int_info>(null) = 0xFFFFFFFF, <header>a = { <trailer>}\n\n<header>b = { <trailer>}\n\n");
}

}  // namespace
