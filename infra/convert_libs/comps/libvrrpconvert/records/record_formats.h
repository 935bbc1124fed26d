/* Byte layouts of the stored configuration records.
 *
 * A stored value is a packed structure: no header, no length, no checksum. Integers are in host byte order
 * (little-endian on devices). Address bytes are in network byte order. Only the size of a value determines its layout:
 *
 *     record              releases before 4.2(1)   4.2(1) and later
 *     VR configuration    85 bytes                 137 bytes
 *     IP association      33 bytes                 53 bytes
 *     global info         21 bytes                 21 bytes
 *
 * Each old layout is a byte prefix of the new one. The fields that are part of the key are in that prefix. So a
 * conversion to the old layout truncates a record and does not change its key.
 *
 * The VRRP manager uses the same layouts: never change an offset, width or value. The numbers before the fields are
 * byte offsets. The assertions after each structure verify these offsets. */
#ifndef LIBVRRPCONVERT_RECORDS_RECORD_FORMATS_H
#define LIBVRRPCONVERT_RECORDS_RECORD_FORMATS_H

#include <assert.h>
#include <netinet/in.h>
#include <stddef.h>

#include "platform/platform.h"

#define VRRP_PACKED __attribute__((packed))
#define VRRP_FIELD_AT(type, field, offset) \
  static_assert(offsetof(type, field) == (offset), #type "." #field " is stored at byte " #offset)

/* ---- Enumerations, stored as 32-bit values: do not change ---- */

typedef uint32 inet_addr_type_t;
enum { INET_ADDR_TYPE_UNKNOWN = 0, INET_ADDR_TYPE_IPV4 = 1, INET_ADDR_TYPE_IPV6 = 2 };

typedef uint32 vrrp_admin_t;
enum { STATE_UP = 1, STATE_DOWN = 2 };

typedef uint32 vrrp_auth_t;
enum { AUTH_NO = 1, AUTH_TEXT = 2, AUTH_IP = 3 };

/* ---- Address, 20 bytes ---- */

typedef struct VRRP_PACKED {
  /*  0 */ inet_addr_type_t addr_type; /* family of `a` */
  /*  4 */ union VRRP_PACKED {
    struct in_addr ipv4_addr; /* IPv4: the address is bytes 4 to 7 */
    struct in6_addr ipv6_addr;
  } a; /* network byte order */
} inet_addr_t;

static_assert(sizeof(inet_addr_t) == 20, "an address takes 20 bytes");
VRRP_FIELD_AT(inet_addr_t, a, 4);

/* ---- VR configuration, 137 and 85 bytes ---- */

/* Virtual router (VR) on an interface, in the new layout, of 4.2(1) and later. */
typedef struct VRRP_PACKED {
  /*   0 */ if_index_t ifindex;         /* interface of the VR */
  /*   4 */ uint8 vr_id;                /* number of the VR on that interface, 0 to 255 */
  /*   5 */ inet_addr_type_t addr_type; /* address family of the VR */
  /*   9 */ vrrp_admin_t admin;         /* administrative state */
  /*  13 */ uint32 prio;                /* priority */
  /*  17 */ inet_addr_t primary_ip;     /* primary address */
  /*  37 */ vrrp_auth_t auth;           /* authentication type */
  /*  41 */ uint8 key[16];              /* authentication key, raw bytes */
  /*  57 */ uint32 adv;                 /* advertisement interval, in the manager's unit */
  /*  61 */ bool_t preempt;             /* preemption */
  /*  65 */ uint32 track_prio;          /* priority for the tracked interface */
  /*  69 */ intf_t track_intf;          /* tracked interface */
  /* 73 */ uint32 spi;                  /* not interpreted by the library */
  /*  77 */ uint32 row_status;          /* row status of the entry */
  /*  81 */ bool_t owner;               /* address owner */
  /*  85 */ uint32 lower_threshold_prio;
  /*  89 */ uint32 upper_threshold_prio;
  /*  93 */ bool_t forwarding_state;
  /*  97 */ inet_addr_t bfd_peer_ip; /* BFD peer */
  /* 117 */ uint8 reserved[20];
} vrrp_config_record_t;

static_assert(sizeof(vrrp_config_record_t) == 137, "a new VR configuration record takes 137 bytes");
VRRP_FIELD_AT(vrrp_config_record_t, vr_id, 4);
VRRP_FIELD_AT(vrrp_config_record_t, addr_type, 5);
VRRP_FIELD_AT(vrrp_config_record_t, admin, 9);
VRRP_FIELD_AT(vrrp_config_record_t, prio, 13);
VRRP_FIELD_AT(vrrp_config_record_t, primary_ip, 17);
VRRP_FIELD_AT(vrrp_config_record_t, auth, 37);
VRRP_FIELD_AT(vrrp_config_record_t, key, 41);
VRRP_FIELD_AT(vrrp_config_record_t, adv, 57);
VRRP_FIELD_AT(vrrp_config_record_t, preempt, 61);
VRRP_FIELD_AT(vrrp_config_record_t, track_prio, 65);
VRRP_FIELD_AT(vrrp_config_record_t, track_intf, 69);
VRRP_FIELD_AT(vrrp_config_record_t, spi, 73);
VRRP_FIELD_AT(vrrp_config_record_t, row_status, 77);
VRRP_FIELD_AT(vrrp_config_record_t, owner, 81);
VRRP_FIELD_AT(vrrp_config_record_t, lower_threshold_prio, 85);
VRRP_FIELD_AT(vrrp_config_record_t, upper_threshold_prio, 89);
VRRP_FIELD_AT(vrrp_config_record_t, forwarding_state, 93);
VRRP_FIELD_AT(vrrp_config_record_t, bfd_peer_ip, 97);
VRRP_FIELD_AT(vrrp_config_record_t, reserved, 117);

/* VR configuration in the old layout, of releases before 4.2(1): bytes 0 to 84 of the new layout. */
typedef struct VRRP_PACKED {
  if_index_t ifindex;
  uint8 vr_id;
  inet_addr_type_t addr_type;
  vrrp_admin_t admin;
  uint32 prio;
  inet_addr_t primary_ip;
  vrrp_auth_t auth;
  uint8 key[16];
  uint32 adv;
  bool_t preempt;
  uint32 track_prio;
  intf_t track_intf;
  uint32 spi;
  uint32 row_status;
  bool_t owner;
} vrrp_old_config_record_t;

static_assert(sizeof(vrrp_old_config_record_t) == 85, "an old VR configuration record takes 85 bytes");
VRRP_FIELD_AT(vrrp_old_config_record_t, vr_id, offsetof(vrrp_config_record_t, vr_id));
VRRP_FIELD_AT(vrrp_old_config_record_t, addr_type, offsetof(vrrp_config_record_t, addr_type));
VRRP_FIELD_AT(vrrp_old_config_record_t, admin, offsetof(vrrp_config_record_t, admin));
VRRP_FIELD_AT(vrrp_old_config_record_t, prio, offsetof(vrrp_config_record_t, prio));
VRRP_FIELD_AT(vrrp_old_config_record_t, primary_ip, offsetof(vrrp_config_record_t, primary_ip));
VRRP_FIELD_AT(vrrp_old_config_record_t, auth, offsetof(vrrp_config_record_t, auth));
VRRP_FIELD_AT(vrrp_old_config_record_t, key, offsetof(vrrp_config_record_t, key));
VRRP_FIELD_AT(vrrp_old_config_record_t, adv, offsetof(vrrp_config_record_t, adv));
VRRP_FIELD_AT(vrrp_old_config_record_t, preempt, offsetof(vrrp_config_record_t, preempt));
VRRP_FIELD_AT(vrrp_old_config_record_t, track_prio, offsetof(vrrp_config_record_t, track_prio));
VRRP_FIELD_AT(vrrp_old_config_record_t, track_intf, offsetof(vrrp_config_record_t, track_intf));
VRRP_FIELD_AT(vrrp_old_config_record_t, spi, offsetof(vrrp_config_record_t, spi));
VRRP_FIELD_AT(vrrp_old_config_record_t, row_status, offsetof(vrrp_config_record_t, row_status));
VRRP_FIELD_AT(vrrp_old_config_record_t, owner, offsetof(vrrp_config_record_t, owner));

/* ---- IP association, 53 and 33 bytes ---- */

/* Address associated with a VR, in the new layout, of 4.2(1) and later. */
typedef struct VRRP_PACKED {
  /*  0 */ if_index_t ifindex;    /* interface of the VR */
  /*  4 */ uint8 vr_id;           /* number of the VR on that interface */
  /*  5 */ inet_addr_t inet_addr; /* associated address */
  /* 25 */ bool_t virtual_;       /* virtual address (`virtual` is a keyword in C++) */
  /* 29 */ uint32 row_status;     /* row status of the entry */
  /* 33 */ uint8 reserved[20];
} vrrp_ip_assoc_record_t;

static_assert(sizeof(vrrp_ip_assoc_record_t) == 53, "a new IP association record takes 53 bytes");
VRRP_FIELD_AT(vrrp_ip_assoc_record_t, vr_id, 4);
VRRP_FIELD_AT(vrrp_ip_assoc_record_t, inet_addr, 5);
VRRP_FIELD_AT(vrrp_ip_assoc_record_t, virtual_, 25);
VRRP_FIELD_AT(vrrp_ip_assoc_record_t, row_status, 29);
VRRP_FIELD_AT(vrrp_ip_assoc_record_t, reserved, 33);

/* IP association in the old layout, of releases before 4.2(1): bytes 0 to 32 of the new layout. */
typedef struct VRRP_PACKED {
  if_index_t ifindex;
  uint8 vr_id;
  inet_addr_t inet_addr;
  bool_t virtual_;
  uint32 row_status;
} vrrp_old_ip_assoc_record_t;

static_assert(sizeof(vrrp_old_ip_assoc_record_t) == 33, "an old IP association record takes 33 bytes");
VRRP_FIELD_AT(vrrp_old_ip_assoc_record_t, vr_id, offsetof(vrrp_ip_assoc_record_t, vr_id));
VRRP_FIELD_AT(vrrp_old_ip_assoc_record_t, inet_addr, offsetof(vrrp_ip_assoc_record_t, inet_addr));
VRRP_FIELD_AT(vrrp_old_ip_assoc_record_t, virtual_, offsetof(vrrp_ip_assoc_record_t, virtual_));
VRRP_FIELD_AT(vrrp_old_ip_assoc_record_t, row_status, offsetof(vrrp_ip_assoc_record_t, row_status));

/* ---- Global info, 21 bytes, one per store ---- */

__extension__ typedef struct VRRP_PACKED {
  /* 0 */ uint8 vrrp_enabled;
  /* 1 */ uint8 is_bfd_enabled_on_any_group : 1; /* mask 0x01 */
  /*   */ uint8 temp_rsrv : 7;                   /* mask 0xFE */
  /* 2 */ uint8 reserved[19];
} vrrp_pss_global_info_t;

static_assert(sizeof(vrrp_pss_global_info_t) == 21, "the global info record takes 21 bytes");
VRRP_FIELD_AT(vrrp_pss_global_info_t, reserved, 2);

#endif
