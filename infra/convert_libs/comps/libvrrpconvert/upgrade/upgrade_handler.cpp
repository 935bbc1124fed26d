// Upgrade to 4.2(1): takes a snapshot of the store, then deletes its global info, VR configuration and IP association
// records.

#include <stdio.h>
#include <string.h>

#include "libconvertvrrp.h"
#include "platform/platform.h"
#include "trace/trace.h"

syserr_t vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t mgr_rc_pss_table, uint32 conversion_type,
                                          const char* vdc_string) {
  VRRP_CNV_TRACE("Entered Upgrade path\n");

  const char* prefix = conversion_type == VRRP_CONVERT_STARTUP ? "nonvolatile:" VRRP_CNV_STARTUP_SNAPSHOT
                                                               : "nonvolatile:" VRRP_CNV_SNAPSHOT;
  const bool is_default_vdc = vdc_string == nullptr || strcmp(vdc_string, "1") == 0;
  char temp_pss_url[256] = {};
  snprintf(temp_pss_url, sizeof temp_pss_url, "%s%s", prefix, is_default_vdc ? "" : vdc_string);

  const syserr_t snapshot_status = pss_snapshot(mgr_rc_pss_table, 0, temp_pss_url);
  if (snapshot_status != 0) {
    VRRP_CNV_TRACE("Error in taking snapshot of Mgr's PSS: %s\n", syserr2str(snapshot_status));
  } else {
    VRRP_CNV_TRACE("Taken snapshot of Mgr PSS to temp file %s\n", temp_pss_url);
  }

  // Delete the records even if the snapshot failed: the newer manager cannot read them.
  const syserr_t removal_status = vrrp_delete_rc_pss_recs_for_upgrade(mgr_rc_pss_table);
  if (removal_status != 0) {
    VRRP_CNV_TRACE("Error deleting PSS recs in upgrade : 0x%x\n", removal_status);
  } else {
    VRRP_CNV_TRACE("Deleted RC recs in Mgr for upgrade\n");
  }
  return 0;
}
