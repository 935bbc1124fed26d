/* Interface indexes in keys. */
#ifndef PLATFORM_IF_INDEX_H
#define PLATFORM_IF_INDEX_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns `ifindex` in the form that keys of manager stores hold: the four bytes of the result, as they lie in memory,
 * are the four key bytes. */
uint32 hton_if_index(if_index_t ifindex);

#ifdef __cplusplus
}
#endif

#endif
