/* Interface indexes in keys. */
#ifndef PLATFORM_IF_INDEX_H
#define PLATFORM_IF_INDEX_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns `ifindex` as it appears in keys of the manager's store: the four bytes of the result in memory are the four
 * bytes of the key. */
uint32 hton_if_index(if_index_t ifindex);

#ifdef __cplusplus
}
#endif

#endif
