/* Calls libconvertvrrp as the system manager does. host DIRECTORY FROM TO converts the store in DIRECTORY and prints
 * its records before and after. FROM and TO are files that contain a release, like "4.1(2)". If the store is empty, it
 * first stores a virtual router. */
#define _POSIX_C_SOURCE 200809L
#include <libconvertvrrp.h>
#include <stdio.h>
#include <stdlib.h>

static syserr_t store_router(pss_service_t table) {
  vrrp_config_record_t record = {.ifindex = 10, .vr_id = 1, .addr_type = INET_ADDR_TYPE_IPV4};
  uint8 key[VRRP_VR_KEY_SIZE];
  vrrp_make_vr_key(key, VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
  return pss_store(table, PSS_NEW_ONLY, &(pss_datum_t){key, sizeof key}, &(pss_datum_t){&record, sizeof record});
}

/* Prints the key and the size of the value of each record. Returns 0 if the store cannot be read. */
static int show(const char* directory, int is_to_be_filled) {
  char url[256];
  syserr_t status;
  snprintf(url, sizeof url, "nonvolatile:%s/" VRRP_CNV_RUNNING_STORE, directory);
  pss_service_t table = pss_open(url, &status);
  if (status != 0 || table == 0) return fprintf(stderr, "%s: %s\n", url, syserr2str(status)), 0;
  pss_datum_t* key = pss_move2location(table, PSS_FIRST_KEY, &status);
  if (key == NULL && is_to_be_filled && (status = store_router(table)) == 0)
    key = pss_move2location(table, PSS_FIRST_KEY, &status);
  for (; key != NULL && status == 0; key = pss_move2location(table, PSS_NEXT_KEY, &status)) {
    for (uint32 i = 0; i < key->siz; ++i) printf("%02x", ((uint8*)key->ptr)[i]);
    const pss_datum_t* value = pss_getvalue(table, &status);
    printf(" %u bytes\n", value != NULL ? value->siz : 0);
  }
  if (status != 0 && status != SYSERR_PSS_NOKEY) fprintf(stderr, "%s: %s\n", url, syserr2str(status));
  return pss_close(table) == 0 && (status == 0 || status == SYSERR_PSS_NOKEY);
}

int main(int argc, char** argv) {
  if (argc != 4) return fprintf(stderr, "usage: host DIRECTORY FROM TO\n"), 2;
  setenv("SYSMGR_FROM_SRG_PATH", argv[2], 1);
  setenv("SYSMGR_TO_SRG_PATH", argv[3], 1);
  setenv("SYSMGR_VDC_ID", "1", 1);
  if (!show(argv[1], 1)) return 1;
  convert_gsync(argv[1], "vrrp", "", "");
  printf("from %d.%d(%d) to %d.%d(%d):\n", from_major, from_minor, from_patch, to_major, to_minor, to_patch);
  return show(argv[1], 0) ? 0 : 1;
}
