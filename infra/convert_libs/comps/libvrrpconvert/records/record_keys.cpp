#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

#include "libconvertvrrp.h"
#include "platform/platform.h"

char afk[3] = {'A', 'F', 'K'};

namespace {

// Copies the bytes of `field`: key fields are not aligned.
template <typename Field>
void put(uint8* place, const Field& field) {
  memcpy(place, &field, sizeof field);
}

// Writes bytes 0 to 9 of every manager-store key of a VR.
void put_vr(uint8* key, vrrp_pss_key_type_t key_type, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type) {
  put(key, key_type);
  put(key + 1, vrrp_hton_addr_type(addr_type));
  put(key + 5, vr_id);
  put(key + 6, hton_if_index(ifindex));
}

}  // namespace

uint32 vrrp_hton_addr_type(inet_addr_type_t addr_type) { return htonl(addr_type); }

void vrrp_make_vr_key(uint8* key, vrrp_pss_key_type_t key_type, if_index_t ifindex, uint8 vr_id,
                      inet_addr_type_t addr_type) {
  if (key_type == VRRP_PSS_KEY_VR || key_type == VRRP_PSS_KEY_IP_ASSOC || key_type == VRRP_PSS_KEY_TRACK) {
    put_vr(key, key_type, ifindex, vr_id, addr_type);
  }
}

void vrrp_make_assoc_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_t inet_addr) {
  put_vr(key, VRRP_PSS_KEY_IP_ASSOC, ifindex, vr_id, inet_addr.addr_type);
  put(key + 10, inet_addr.a);
}

void vrrp_make_track_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type, uint32 track_obj_id) {
  put_vr(key, VRRP_PSS_KEY_TRACK, ifindex, vr_id, addr_type);
  put(key + 10, htonl(track_obj_id));
}

void make_vr_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type) {
  put(key, ifindex);
  put(key + 4, vr_id);
  put(key + 5, addr_type);
}

void vrrp_make_vr_key_for_track(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type) {
  memcpy(key, "Track", 5);
  make_vr_key(key + 5, ifindex, vr_id, addr_type);
}

void vrrp_make_ri_track_key(uint8* key, uint8 vr_id, if_index_t ifindex, inet_addr_type_t addr_type,
                            uint32 track_obj_id) {
  vrrp_make_vr_key_for_track(key, ifindex, vr_id, addr_type);
  put(key + 14, track_obj_id);
}

int32 make_afk_key(char** afk_key, char* key, int32 key_size) {
  if (key_size < 0) return VRRP_CNV_ERR_NO_MEMORY;  // no allocation has a negative size
  const size_t size = static_cast<size_t>(key_size);
  char* whole = static_cast<char*>(malloc(size + sizeof afk));
  if (whole == nullptr) return VRRP_CNV_ERR_NO_MEMORY;
  memcpy(whole, afk, sizeof afk);
  if (size > 0) memcpy(whole + sizeof afk, key, size);  // `key` may be null if there is nothing to copy
  *afk_key = whole;
  return 0;
}
