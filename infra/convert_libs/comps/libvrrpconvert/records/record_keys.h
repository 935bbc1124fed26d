/* Kinds of records and the sizes of their keys.
 *
 * Manager store, one byte of key type first, integers in network byte order:
 *
 *     VR configuration   0 key type 1 | 1 addr_type, 4 | 5 vr_id, 1 | 6 interface index, 4              10 bytes
 *     IP association     0 key type 2 | 1 addr_type, 4 | 5 vr_id, 1 | 6 interface index, 4 | 10 a, 16   26 bytes
 *     track              0 key type 5 | 1 addr_type, 4 | 5 vr_id, 1 | 6 interface index, 4
 *                                                                       | 10 track object, 4            14 bytes
 *     global info        04 00 00 00 (the value 4 in host byte order)                                    4 bytes
 *
 * Engine store, integers in host byte order; make_afk_key adds the prefix "AFK":
 *
 *     VR                 0 ifindex, 4 | 4 vr_id, 1 | 5 addr_type, 4                                      9 bytes
 *     VR for track       0 "Track"    | 5 ifindex, 4 | 9 vr_id, 1 | 10 addr_type, 4                     14 bytes
 *     track              0 "Track"    | 5 ifindex, 4 | 9 vr_id, 1 | 10 addr_type, 4 | 14 track object, 4 18 bytes */
#ifndef LIBVRRPCONVERT_RECORDS_RECORD_KEYS_H
#define LIBVRRPCONVERT_RECORDS_RECORD_KEYS_H

#include "platform/platform.h"

/* First byte of a manager-store key. */
typedef uint8 vrrp_pss_key_type_t;
enum { VRRP_PSS_KEY_VR = 1, VRRP_PSS_KEY_IP_ASSOC = 2, VRRP_PSS_KEY_TRACK = 5 };

/* Kind of an engine-store record; not part of its key. */
typedef uint8 vrrp_ri_pss_key_type_t;
enum {
  VRRP_RI_PSS_KEY_VR = 1,   /* keys that begin with "AFK" but not with "AFKTrack" */
  VRRP_RI_PSS_KEY_TRACK = 2 /* keys that begin with "AFKTrack" */
};

/* Key of the global info record: its four bytes in host byte order. */
#define VRRP_PSS_GLOBAL_INFO_KEY ((uint32)4)

/* Sizes in bytes of the keys that the builders write. */
enum {
  VRRP_VR_KEY_SIZE = 10,
  VRRP_ASSOC_KEY_SIZE = 26,
  VRRP_TRACK_KEY_SIZE = 14,
  VRRP_ENGINE_VR_KEY_SIZE = 9,
  VRRP_ENGINE_VR_KEY_FOR_TRACK_SIZE = 14,
  VRRP_ENGINE_TRACK_KEY_SIZE = 18
};

#endif
