#include "platform/if_index.h"

#include <arpa/inet.h>

uint32 hton_if_index(if_index_t ifindex) { return htonl(ifindex); }
