// Copies all records in the old layout. Reads all records of a kind before it stores the first one, because both stores
// may be the same. Truncates each record and stores it under the key that its fields determine, where it replaces the
// value of the new layout. A record that cannot be stored is unchanged, and the copy continues with the next one.

#include <string.h>

#include "libconvertvrrp.h"
#include "platform/platform.h"
#include "records/record_array.h"
#include "trace/trace.h"

namespace {

constexpr char operation[] = "vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade";

// The old layout of each kind is a byte prefix of the new one.
template <typename OldRecord, typename NewRecord>
OldRecord cut_to_old_layout(const NewRecord& record) {
  static_assert(sizeof(OldRecord) < sizeof(NewRecord));
  OldRecord old_record = {};
  memcpy(&old_record, &record, sizeof old_record);
  return old_record;
}

void store_global_info(pss_service_t pss_mgr_rc_table) {
  uint32 global_key = VRRP_PSS_GLOBAL_INFO_KEY;
  vrrp_pss_global_info_t info = {};
  info.vrrp_enabled = 1;
  const pss_datum_t key = {&global_key, sizeof global_key};
  const pss_datum_t value = {&info, sizeof info};
  const syserr_t status = pss_store(pss_mgr_rc_table, PSS_REPLACE, &key, &value);
  if (status != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Failed to store global info : Ret_val 0x%x\n", status);
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Stored global info\n");
  }
}

void store_vr_record(pss_service_t pss_mgr_rc_table, const vrrp_config_record_t& record) {
  auto old_vr_rec = cut_to_old_layout<vrrp_old_config_record_t>(record);
  uint8 vr_key[VRRP_VR_KEY_SIZE];
  vrrp_make_vr_key(vr_key, VRRP_PSS_KEY_VR, old_vr_rec.ifindex, old_vr_rec.vr_id, old_vr_rec.addr_type);
  const pss_datum_t pss_vr_key = {vr_key, sizeof vr_key};
  const pss_datum_t vr_datum = {&old_vr_rec, sizeof old_vr_rec};
  const syserr_t status = pss_store(pss_mgr_rc_table, PSS_REPLACE, &pss_vr_key, &vr_datum);
  if (status != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error storing record in PSS: Ret_val = %d, %s\n", static_cast<int32>(status),
                       syserr2str(status));
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Added new record for VR %d on interface 0x%x and addr type %d\n", old_vr_rec.vr_id,
                       old_vr_rec.ifindex, static_cast<int32>(old_vr_rec.addr_type));
  }
}

void store_ip_assoc_record(pss_service_t pss_mgr_rc_table, const vrrp_ip_assoc_record_t& record) {
  auto old_ip_rec = cut_to_old_layout<vrrp_old_ip_assoc_record_t>(record);
  uint8 vip_key[VRRP_ASSOC_KEY_SIZE];
  vrrp_make_assoc_key(vip_key, record.ifindex, record.vr_id, record.inet_addr);
  const pss_datum_t pss_vr_key = {vip_key, sizeof vip_key};
  const pss_datum_t vr_datum = {&old_ip_rec, sizeof old_ip_rec};
  const syserr_t status = pss_store(pss_mgr_rc_table, PSS_REPLACE, &pss_vr_key, &vr_datum);
  if (status != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error storing record in PSS: Ret_val = %d, %s\n", static_cast<int32>(status),
                       syserr2str(status));
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Added new IP record for VR %d on interface 0x%x\n", old_ip_rec.vr_id,
                       old_ip_rec.ifindex);
  }
}

// Each function returns the result of its bulk read. Its array is released on return.

int32 copy_vr_records(pss_service_t pss_eng_rc_table, pss_service_t pss_mgr_rc_table) {
  vrrp_cnv::RecordArray<vrrp_config_record_t> vr_array;
  const int32 ret_val = vr_array.read(pss_eng_rc_table, VRRP_PSS_KEY_VR);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error getting PSS records in bulk; Ret = %d\n", ret_val);
    return ret_val;
  }
  VRRP_CNV_TRACE_FOR(operation, "Number of VR records = %d\n", vr_array.count());
  for (const auto& record : vr_array) store_vr_record(pss_mgr_rc_table, record);
  return 0;
}

int32 copy_ip_assoc_records(pss_service_t pss_eng_rc_table, pss_service_t pss_mgr_rc_table) {
  vrrp_cnv::RecordArray<vrrp_ip_assoc_record_t> ip_array;
  const int32 ret_val = ip_array.read(pss_eng_rc_table, VRRP_PSS_KEY_IP_ASSOC);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error getting PSS records in bulk; Ret = %d\n", ret_val);
    return ret_val;
  }
  VRRP_CNV_TRACE_FOR(operation, "Number of VIP records = %d\n", ip_array.count());
  for (const auto& record : ip_array) store_ip_assoc_record(pss_mgr_rc_table, record);
  return 0;
}

}  // namespace

syserr_t vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(pss_service_t pss_eng_rc_table,
                                                             pss_service_t pss_mgr_rc_table) {
  store_global_info(pss_mgr_rc_table);
  int32 ret_val = copy_vr_records(pss_eng_rc_table, pss_mgr_rc_table);
  if (ret_val == 0) ret_val = copy_ip_assoc_records(pss_eng_rc_table, pss_mgr_rc_table);
  return static_cast<syserr_t>(ret_val);
}
