// Conversion of SQLite result codes and errno values to platform statuses.
#ifndef PLATFORM_EMBEDDED_STATUS_H
#define PLATFORM_EMBEDDED_STATUS_H

#include "platform/types.h"

namespace pss_embedded {

// Converts an SQLite result code, extended or not. SQLITE_OK, SQLITE_ROW and SQLITE_DONE are 0.
syserr_t status_of_sqlite(int result);

// Converts an errno value other than 0.
syserr_t status_of_errno(int error);

}  // namespace pss_embedded

#endif
