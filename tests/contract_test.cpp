// Values and types that the library shares with the VRRP manager, the platform and its callers, as literals. Other
// tests use the names, and would not detect a changed value. If a value changes, this test does not compile.

#include <string_view>
#include <type_traits>

#include "libconvertvrrp.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/if_index.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"

#define VALUE(name, value) static_assert((name) == (value), #name)
#define TEXT(name, text) static_assert(std::string_view(name) == (text), #name)
#define TYPE(name, ...) static_assert(std::is_same_v<decltype(name), __VA_ARGS__>, #name)

// Values that the manager stores or the platform returns.
VALUE(INET_ADDR_TYPE_UNKNOWN, 0);
VALUE(INET_ADDR_TYPE_IPV4, 1);
VALUE(INET_ADDR_TYPE_IPV6, 2);
VALUE(STATE_UP, 1);
VALUE(STATE_DOWN, 2);
VALUE(AUTH_NO, 1);
VALUE(AUTH_TEXT, 2);
VALUE(AUTH_IP, 3);
VALUE(VRRP_PSS_KEY_VR, 1);
VALUE(VRRP_PSS_KEY_IP_ASSOC, 2);
VALUE(VRRP_PSS_KEY_TRACK, 5);
VALUE(VRRP_PSS_GLOBAL_INFO_KEY, 4u);
VALUE(VRRP_RI_PSS_KEY_VR, 1);
VALUE(VRRP_RI_PSS_KEY_TRACK, 2);
VALUE(VRRP_CONVERT_STARTUP, 1);
VALUE(VRRP_CONVERT_GSYNC, 2);
VALUE(VRRP_CNV_ERR_NO_VALUE, 2);
VALUE(VRRP_CNV_ERR_NO_MEMORY, 3);
VALUE(VRRP_CNV_BOUNDARY_MAJOR, 4);
VALUE(VRRP_CNV_BOUNDARY_MINOR, 2);
VALUE(VRRP_CNV_BOUNDARY_PATCH, 1);
VALUE(VRRP_CNV_VERSION_TEXT_MAX, 512);
VALUE(VRRP_CNV_TRACE_LINE_MAX, 1000);
TEXT(VRRP_CNV_RUNNING_STORE, "vrrp-cfg_runtime_config");
TEXT(VRRP_CNV_STARTUP_STORE, "vrrp-cfg_config_sav");
TEXT(VRRP_CNV_STARTUP_DIRECTORY, "/bin");
TEXT(VRRP_CNV_SNAPSHOT, "/tmp/vrrp-pss");
TEXT(VRRP_CNV_STARTUP_SNAPSHOT, "/tmp/vrrp-startup-pss");
TEXT(VRRP_CNV_TRACE_LOG, "/bootflash/libconvertvrrpmgr.log");
VALUE(SYSERR_PSS_NOKEY, 1078460419u);
VALUE(SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID, 1075708022u);
VALUE(PSS_NULL_KEY, 0);
VALUE(PSS_FIRST_KEY, 1);
VALUE(PSS_LAST_KEY, 2);
VALUE(PSS_NEXT_KEY, 3);
VALUE(PSS_PREVIOUS_KEY, 4);
VALUE(PSS_CURRENT_KEY, 5);
VALUE(PSS_NEW_ONLY, 0);
VALUE(PSS_REPLACE, 1);
VALUE(SYSERR_PSS_NO_STORE, 0x40488001u);
VALUE(SYSERR_PSS_NO_FILES, 0x4048800Eu);

VALUE(VRRP_VR_KEY_SIZE, 10);
VALUE(VRRP_ASSOC_KEY_SIZE, 26);
VALUE(VRRP_TRACK_KEY_SIZE, 14);
VALUE(VRRP_ENGINE_VR_KEY_SIZE, 9);
VALUE(VRRP_ENGINE_VR_KEY_FOR_TRACK_SIZE, 14);
VALUE(VRRP_ENGINE_TRACK_KEY_SIZE, 18);

// scripts/abi compares the types of exported data and functions.
using U32 = uint32_t;
using Text = const char*;

// The platform's operations.
TYPE(pss_open, U32(Text, U32*));
TYPE(pss_close, U32(U32));
TYPE(pss_move2key, pss_datum_t*(U32, const pss_datum_t*, U32*));
TYPE(pss_move2location, pss_datum_t*(U32, pss_location_t, U32*));
TYPE(pss_getvalue, const pss_datum_t*(U32, U32*));
TYPE(pss_store, U32(U32, U32, const pss_datum_t*, const pss_datum_t*));
TYPE(pss_delete, U32(U32, const pss_datum_t*));
TYPE(pss_snapshot, U32(U32, U32, Text));
TYPE(syserr2str, Text(U32));
TYPE(hton_if_index, U32(U32));
TYPE(srg_sw_ver_file_get, Text(Text));
TYPE(pss_datum_t::ptr, void*);
TYPE(pss_datum_t::siz, U32);
