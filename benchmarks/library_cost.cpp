// Runs the library on a minimal store in memory, to measure its cost without a platform. library_cost WORK ROUTERS runs
// one operation of the library. ./bench runs this program under valgrind's callgrind, which counts the instructions.

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "libconvertvrrp.h"
#include "platform/if_index.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"

namespace {

struct Record {
  uint8 key[VRRP_ASSOC_KEY_SIZE];
  uint8 value[sizeof(vrrp_config_record_t)];
  uint32 key_size, value_size;
};

std::vector<Record> records;  // in key order
size_t cursor;
pss_datum_t key_datum, value_datum;

pss_datum_t* key_under_cursor(syserr_t* status) {
  *status = cursor < records.size() ? 0 : SYSERR_PSS_NOKEY;
  if (cursor >= records.size()) return nullptr;
  key_datum = {records[cursor].key, records[cursor].key_size};
  return &key_datum;
}

void add_router(uint8 type, uint32 interface, uint8 vr_id) {
  Record record = {};
  memset(record.value, 1, sizeof record.value);
  memcpy(record.value, &interface, sizeof interface);
  record.value[4] = vr_id;
  record.value_size = type == VRRP_PSS_KEY_VR ? sizeof(vrrp_config_record_t) : sizeof(vrrp_ip_assoc_record_t);
  record.key_size = type == VRRP_PSS_KEY_VR ? VRRP_VR_KEY_SIZE : VRRP_ASSOC_KEY_SIZE;
  record.key[0] = type;
  records.push_back(record);
}

}  // namespace

pss_service_t pss_open(const char*, syserr_t* status) { return *status = 0, 1; }
syserr_t pss_close(pss_service_t) { return 0; }
pss_datum_t* pss_move2key(pss_service_t, const pss_datum_t* key, syserr_t* status) {
  const uint8 type = *static_cast<const uint8*>(key->ptr);
  cursor = 0;
  while (cursor < records.size() && records[cursor].key[0] < type) ++cursor;
  return key_under_cursor(status);
}
pss_datum_t* pss_move2location(pss_service_t, pss_location_t location, syserr_t* status) {
  cursor = location == PSS_FIRST_KEY ? 0 : cursor + 1;
  return key_under_cursor(status);
}
const pss_datum_t* pss_getvalue(pss_service_t, syserr_t* status) {
  *status = 0;
  value_datum = {records[cursor].value, records[cursor].value_size};
  return &value_datum;
}
syserr_t pss_store(pss_service_t, uint32, const pss_datum_t*, const pss_datum_t*) { return 0; }
syserr_t pss_delete(pss_service_t, const pss_datum_t*) { return 0; }
syserr_t pss_snapshot(pss_service_t, uint32, const char*) { return 0; }
const char* syserr2str(syserr_t) { return ""; }
uint32 hton_if_index(if_index_t ifindex) { return htonl(ifindex); }
const char* srg_sw_ver_file_get(const char*) { return nullptr; }

int main(int argc, char** argv) {
  if (argc != 3) return fprintf(stderr, "usage: library_cost reader|engine_reader|removal|copy ROUTERS\n"), 2;
  const int routers = atoi(argv[2]);
  for (const uint8 type : {uint8{VRRP_PSS_KEY_VR}, uint8{VRRP_PSS_KEY_IP_ASSOC}}) {
    for (int router = 0; router < routers; ++router) {
      add_router(type, static_cast<uint32>(router / 255), static_cast<uint8>(router % 255));
    }
  }
  void* array = nullptr;
  int32 count = 0, result = 1;
  const char* work = argv[1];
  if (strcmp(work, "reader") == 0) result = pss_get_table(1, VRRP_PSS_KEY_VR, &array, &count, 137);
  if (strcmp(work, "engine_reader") == 0) {
    for (Record& record : records) memcpy(record.key, "AFK", 3);
    result = pss_eng_get_table(1, &array, &count, 137, VRRP_RI_PSS_KEY_VR);
  }
  if (strcmp(work, "removal") == 0) result = static_cast<int32>(vrrp_delete_rc_pss_recs_for_upgrade(1));
  if (strcmp(work, "copy") == 0) result = static_cast<int32>(vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(1, 1));
  free(array);
  return result;
}
