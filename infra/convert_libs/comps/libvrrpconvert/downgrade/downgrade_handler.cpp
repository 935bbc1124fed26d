// Downgrade from 4.2(1): reads the engine store, writes the manager store, and always returns 0.

#include "libconvertvrrp.h"
#include "trace/trace.h"

syserr_t vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t pss_mgr_rc_table, pss_service_t pss_eng_rc_table) {
  if (vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(pss_eng_rc_table, pss_mgr_rc_table) != 0) {
    VRRP_CNV_TRACE("Error copying PSS recs from Mgr to Engine's RC PSS\n");
  }
  return 0;
}
