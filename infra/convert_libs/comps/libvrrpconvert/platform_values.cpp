// Verifies the platform's values. A device header with other values would compile otherwise, and the library and the
// platform would interpret them differently.

#include "platform/platform.h"

static_assert(PSS_FIRST_KEY == 1 && PSS_NEXT_KEY == 3, "pss_location_t has the values of platform/pss.h");
static_assert(PSS_REPLACE == 1, "PSS_REPLACE is 1");
static_assert(SYSERR_PSS_NOKEY == 0x40480003u && SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID == 0x401e0076u,
              "statuses have the values of platform/syserr.h");
static_assert(sizeof(vdc_id_t) == 2, "vdc_id_t has 2 bytes");

#define HAS_TYPE(operation, ...) \
  static_assert(sizeof(static_cast<__VA_ARGS__>(operation)) == sizeof(void*), #operation " has this type")
HAS_TYPE(pss_open, pss_service_t (*)(const char*, syserr_t*));
HAS_TYPE(pss_close, syserr_t (*)(pss_service_t));
HAS_TYPE(pss_move2key, pss_datum_t* (*)(pss_service_t, const pss_datum_t*, syserr_t*));
HAS_TYPE(pss_move2location, pss_datum_t* (*)(pss_service_t, pss_location_t, syserr_t*));
HAS_TYPE(pss_getvalue, const pss_datum_t* (*)(pss_service_t, syserr_t*));
HAS_TYPE(pss_store, syserr_t (*)(pss_service_t, uint32, const pss_datum_t*, const pss_datum_t*));
HAS_TYPE(pss_delete, syserr_t (*)(pss_service_t, const pss_datum_t*));
HAS_TYPE(pss_snapshot, syserr_t (*)(pss_service_t, uint32, const char*));
HAS_TYPE(syserr2str, const char* (*)(syserr_t));
HAS_TYPE(hton_if_index, uint32 (*)(if_index_t));
HAS_TYPE(srg_sw_ver_file_get, const char* (*)(const char*));
#undef HAS_TYPE
