/* Status codes and their texts. */
#ifndef PLATFORM_SYSERR_H
#define PLATFORM_SYSERR_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The store has no record under the key (1078460419). */
#define SYSERR_PSS_NOKEY ((syserr_t)0x40480003u)

/* A path contains no VDC number (1075708022). */
#define SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID ((syserr_t)0x401E0076u)

/* Returns a text for any `status`, never null and without a line break. The text belongs to the platform and is valid
 * until the next call. */
const char* syserr2str(syserr_t status);

#ifdef __cplusplus
}
#endif

#endif
