// Downgrade from 4.2(1): fixes which store is read and which is written, and never fails the downgrade.

#include "libconvertvrrp.h"
#include "trace/trace.h"

syserr_t vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t pss_mgr_rc_table, pss_service_t pss_eng_rc_table) {
  if (vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(pss_eng_rc_table, pss_mgr_rc_table) != 0) {
    VRRP_CNV_TRACE("Error copying PSS recs from Mgr to Engine's RC PSS\n");
  }
  return 0;
}
