/* The platform's types and operations: those declared here, or the device's own where CONVERTVRRP_PLATFORM_HEADER is
 * defined to the name of a header, "device.h" or <device.h>, that declares the same names. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#ifdef CONVERTVRRP_PLATFORM_HEADER
#include CONVERTVRRP_PLATFORM_HEADER
#else
#include "platform/if_index.h"
#include "platform/pss.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"
#include "platform/types.h"
#endif

#endif
