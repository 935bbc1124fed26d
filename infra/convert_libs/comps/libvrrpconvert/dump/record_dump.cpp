// Dumps of VR configuration records into the trace log. Each piece is one write to the trace log, with the name of the
// function that writes it, and not always a whole line.

#include <arpa/inet.h>
#include <string.h>

#include "libconvertvrrp.h"
#include "trace/trace.h"

namespace {

// Prints the fields that both layouts have, in their order.
template <typename Record>
void print_shared_fields(const Record& vr_rec) {
  const auto print_int = [](uint32 field, const char* field_name) {
    vrrp_dbg_print_int_info(static_cast<int32>(field), field_name);
  };
  print_int(vr_rec.ifindex, "ifindex");
  print_int(vr_rec.vr_id, "vr_id");
  print_int(vr_rec.addr_type, "addr_type");
  print_int(vr_rec.admin, "admin");
  print_int(vr_rec.prio, "prio");

  // In host byte order the hexadecimal digits have the order of the dotted address.
  inet_addr_t primary_ip = vr_rec.primary_ip;
  primary_ip.a.ipv4_addr.s_addr = ntohl(primary_ip.a.ipv4_addr.s_addr);
  vrrp_dbg_print_inet_info(primary_ip, "primary_ip");

  print_int(vr_rec.auth, "auth");
  vrrp_dbg_print_int_arr_info(vr_rec.key, "key", sizeof vr_rec.key);
  print_int(vr_rec.adv, "adv");
  print_int(vr_rec.preempt, "preempt");
  print_int(vr_rec.track_prio, "track_prio");
  print_int(vr_rec.track_intf, "track_intf");
  print_int(vr_rec.spi, "spi");
  print_int(vr_rec.row_status, "row_status");
  print_int(vr_rec.owner, "owner");
}

}  // namespace

void vrrp_print_rc_pss_rec_old(vrrp_old_config_record_t vr_rec) {
  vrrp_dbg_print_header("\n vrrp_old_config_record_t", 1);
  print_shared_fields(vr_rec);
  vrrp_dbg_print_trailer();
}

void vrrp_print_rc_pss_rec_new(vrrp_config_record_t vr_rec) {
  vrrp_dbg_print_header("\n vrrp_config_record_t", 1);
  print_shared_fields(vr_rec);
  vrrp_dbg_print_int_info(static_cast<int32>(vr_rec.lower_threshold_prio), "lower_threshold_prio");
  vrrp_dbg_print_int_info(static_cast<int32>(vr_rec.upper_threshold_prio), "upper_threshold_prio");
  vrrp_dbg_print_int_info(static_cast<int32>(vr_rec.forwarding_state), "forwarding_state");
  vrrp_dbg_print_trailer();
}

void vrrp_dbg_print_header(const char* field_name, bool_t topmost) {
  if (topmost == 1) {
    VRRP_CNV_TRACE("%s {\n", vrrp_cnv::shown(field_name));
  } else {
    VRRP_CNV_TRACE("%s = { ", vrrp_cnv::shown(field_name));
  }
}

void vrrp_dbg_print_trailer(void) { VRRP_CNV_TRACE("}\n\n"); }

void vrrp_dbg_print_int_info(int32 field, const char* field_name) {
  VRRP_CNV_TRACE("%s = 0x%X, ", vrrp_cnv::shown(field_name), static_cast<uint32>(field));
}

void vrrp_dbg_print_inet_info(inet_addr_t inet_data, const char* field_name) {
  vrrp_dbg_print_header(field_name, 0);
  vrrp_dbg_print_int_info(static_cast<int32>(inet_data.addr_type), "addr_type");
  vrrp_dbg_print_int_info(static_cast<int32>(inet_data.a.ipv4_addr.s_addr), "a.ipv4_addr.s_addr");
  vrrp_dbg_print_trailer();
}

void vrrp_dbg_print_int_arr_info(const uint8* arr_elem, const char* arr_name, int32 arr_size) {
  vrrp_dbg_print_header(arr_name, 0);
  for (int32 i = 0; i < arr_size; ++i) VRRP_CNV_TRACE("0x%02X, ", static_cast<unsigned>(arr_elem[i]));
  vrrp_dbg_print_trailer();
}
