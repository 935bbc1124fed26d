/* Types of the platform operations. Integers are in host byte order unless a declaration says otherwise. */
#ifndef PLATFORM_TYPES_H
#define PLATFORM_TYPES_H

#include <stdint.h>

typedef uint8_t uint8;
typedef uint16_t uint16;
typedef uint32_t uint32;
typedef int32_t int32;

/* Boolean of 32 bits in stored records: 0 is false, any other value is true. */
typedef uint32 bool_t;

/* Interface index, and the alias used for a tracked interface. */
typedef uint32 if_index_t;
typedef if_index_t intf_t;

/* Number of a virtual device context. */
typedef uint16 vdc_id_t;

/* Status of a platform operation: 0 is success, any other value has a text (syserr2str). */
typedef uint32 syserr_t;

#endif
