/* The public header in a C program: layouts, globals and calls as C sees them. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "libconvertvrrp.h"

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      return 1;                                                       \
    }                                                                 \
  } while (0)

int main(void) {
  const unsigned char record_start[9] = {5, 0, 0, 0, 7, 1, 0, 0, 0};
  vrrp_config_record_t record;
  memset(&record, 0, sizeof record);
  record.ifindex = 5;
  record.vr_id = 7;
  record.addr_type = INET_ADDR_TYPE_IPV4;
  record.primary_ip.addr_type = INET_ADDR_TYPE_IPV4;
  record.primary_ip.a.ipv4_addr.s_addr = htonl(0xC0000201u);
  CHECK(memcmp(&record, record_start, sizeof record_start) == 0);
  CHECK(memcmp((const char*)&record + 17, "\1\0\0\0\300\0\2\1", 8) == 0);

  vrrp_pss_global_info_t info;
  memset(&info, 0, sizeof info);
  info.temp_rsrv = 127;
  CHECK(((const unsigned char*)&info)[1] == 0xFE);
  info.is_bfd_enabled_on_any_group = 1;
  info.temp_rsrv = 0;
  CHECK(((const unsigned char*)&info)[1] == 0x01);

  char* key = NULL;
  CHECK(make_afk_key(&key, (char*)&record, 9) == 0);
  CHECK(memcmp(key, "AFK", 3) == 0 && memcmp(key + 3, record_start, 9) == 0);
  free(key);

  CHECK(trace_fd == -1 && debug_str[0] == '\0' && memcmp(afk, "AFK", sizeof afk) == 0);
  CHECK(convert_gsync("/no/such/directory", "package", "4.2(1)", "4.1(2)") == 0);
  CHECK(from_major == 0 && to_patch == 0); /* no store, no releases read */
  return 0;
}
