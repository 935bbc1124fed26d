// Deletes the global info, VR configuration and IP association records. Reads all records of a kind before it deletes
// the first one. Deletes each record under the key that its fields determine. A record that cannot be deleted is
// unchanged, and the removal continues with the next one.

#include "libconvertvrrp.h"
#include "platform/platform.h"
#include "records/record_array.h"
#include "trace/trace.h"

namespace {

constexpr char operation[] = "vrrp_delete_rc_pss_recs_for_upgrade";

void delete_global_info(pss_service_t mgr_rc_pss_table) {
  uint32 global_key = VRRP_PSS_GLOBAL_INFO_KEY;
  const pss_datum_t key = {&global_key, sizeof global_key};
  if (pss_delete(mgr_rc_pss_table, &key) != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Failed to delete global info\n");
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Deleted global info\n");
  }
}

void delete_vr_record(pss_service_t mgr_rc_pss_table, const vrrp_old_config_record_t& record) {
  VRRP_CNV_TRACE_FOR(operation, "Retrieved PSS record for VR %d on interface 0x%x and addr type %d\n", record.vr_id,
                     record.ifindex, static_cast<int32>(record.addr_type));
  uint8 vr_key[VRRP_VR_KEY_SIZE];
  vrrp_make_vr_key(vr_key, VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
  const pss_datum_t pss_vr_key = {vr_key, sizeof vr_key};

  VRRP_CNV_TRACE_FOR(operation, "Deleting PSS VR record : VR %d , intf 0x%x\n", record.vr_id, record.ifindex);
  const syserr_t status = pss_delete(mgr_rc_pss_table, &pss_vr_key);
  if (status != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error deleting PSS VR record; Ret_val = 0x%x, %s\n", status, syserr2str(status));
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Deleted PSS VR record : VR %d, interface 0x%x\n", record.vr_id, record.ifindex);
  }
}

void delete_ip_assoc_record(pss_service_t mgr_rc_pss_table, const vrrp_ip_assoc_record_t& record) {
  uint8 vip_key[VRRP_ASSOC_KEY_SIZE];
  vrrp_make_assoc_key(vip_key, record.ifindex, record.vr_id, record.inet_addr);
  const pss_datum_t pss_vr_key = {vip_key, sizeof vip_key};

  const syserr_t status = pss_delete(mgr_rc_pss_table, &pss_vr_key);
  if (status != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error deleting PSS VR record; Ret_val = 0x%x, %s\n", status, syserr2str(status));
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Deleted PSS VIP record : VR %d, interface 0x%x\n", record.vr_id, record.ifindex);
  }
}

// Each function returns the result of its bulk read. Its array is released on return.

int32 delete_vr_records(pss_service_t mgr_rc_pss_table) {
  vrrp_cnv::RecordArray<vrrp_old_config_record_t> vr_array;
  const int32 ret_val = vr_array.read(mgr_rc_pss_table, VRRP_PSS_KEY_VR);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error getting PSS records in bulk; Ret = %d\n", ret_val);
    return ret_val;
  }
  VRRP_CNV_TRACE_FOR(operation, "Number of VR records = %d\n", vr_array.count());
  for (const auto& record : vr_array) delete_vr_record(mgr_rc_pss_table, record);
  return 0;
}

// Reads with the size of the new layout. A record of the old layout fills the first 33 bytes of its element, and its
// key needs only the first 25.
int32 delete_ip_assoc_records(pss_service_t mgr_rc_pss_table) {
  vrrp_cnv::RecordArray<vrrp_ip_assoc_record_t> ip_array;
  const int32 ret_val = ip_array.read(mgr_rc_pss_table, VRRP_PSS_KEY_IP_ASSOC);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error getting PSS records in bulk; Ret = %d\n", ret_val);
    return ret_val;
  }
  VRRP_CNV_TRACE_FOR(operation, "Number of VIP records = %d\n", ip_array.count());
  for (const auto& record : ip_array) delete_ip_assoc_record(mgr_rc_pss_table, record);
  return 0;
}

}  // namespace

syserr_t vrrp_delete_rc_pss_recs_for_upgrade(pss_service_t mgr_rc_pss_table) {
  delete_global_info(mgr_rc_pss_table);
  // If the VR records cannot be read, the removal ends and still returns 0.
  if (delete_vr_records(mgr_rc_pss_table) != 0) return 0;
  return static_cast<syserr_t>(delete_ip_assoc_records(mgr_rc_pss_table));
}
