/* The platform's types and operations. If CONVERTVRRP_PLATFORM_HEADER is defined as the name of a header, "device.h" or
 * <device.h>, that header declares them instead. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#if !defined __cplusplus && (!defined __STDC_VERSION__ || __STDC_VERSION__ < 201112L)
#error "libconvertvrrp needs C11 or later: compile with -std=c11"
#endif
#if defined __BYTE_ORDER__ && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "libconvertvrrp is for little-endian processors: stored records and keys are in their byte order"
#endif

#include <assert.h>
#include <stddef.h>

#ifdef CONVERTVRRP_PLATFORM_HEADER
#include CONVERTVRRP_PLATFORM_HEADER
#else
#include "platform/if_index.h"
#include "platform/pss.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"
#include "platform/types.h"
#endif

/* Verifies the sizes of a device header's types. platform_values.cpp verifies the values that the library uses. */
static_assert(sizeof(uint8) == 1 && sizeof(uint32) == 4 && sizeof(int32) == 4,
              "uint8, uint32 and int32 have 1 and 4 bytes");
static_assert((uint8)-1 > 0 && (uint32)-1 > 0 && (int32)-1 < 0, "int32 alone is signed");
static_assert(sizeof(bool_t) == 4 && sizeof(if_index_t) == 4 && sizeof(intf_t) == 4, "stored fields have 4 bytes");
static_assert(sizeof(syserr_t) == 4 && (syserr_t)-1 > 0, "syserr_t is unsigned and has 4 bytes");
static_assert(sizeof(pss_service_t) == 4 && sizeof(pss_location_t) == 4, "handles and locations have 4 bytes");
static_assert(offsetof(pss_datum_t, ptr) == 0 && offsetof(pss_datum_t, siz) == sizeof(void*),
              "pss_datum_t: ptr, then siz");
// NOLINTNEXTLINE(modernize-use-nullptr): C has no nullptr.
static_assert(sizeof(((pss_datum_t*)0)->siz) == 4 && sizeof(pss_datum_t) == 2 * sizeof(void*), "siz has 4 bytes");

#endif
