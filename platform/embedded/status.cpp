#include "platform/embedded/status.h"

#include <sqlite3.h>

#include <cerrno>

#include "platform/embedded/pss_embedded.h"

namespace pss_embedded {

syserr_t status_of_sqlite(int result) {
  if (result == SQLITE_IOERR_NOMEM) return SYSERR_PSS_NO_MEMORY;
  switch (result & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return 0;
    case SQLITE_FULL:  // the store exceeds the size limit: a database in memory uses no disk
      return SYSERR_PSS_TOO_LARGE;
    case SQLITE_NOMEM:
      return SYSERR_PSS_NO_MEMORY;
    case SQLITE_CORRUPT:
    // The SQL of this platform is valid and stored values are small, so these mean a damaged file.
    case SQLITE_ERROR:
    case SQLITE_TOOBIG:
    case SQLITE_INTERRUPT:  // the schema exceeds the limits of open_image()
      return SYSERR_PSS_DAMAGED;
    case SQLITE_NOTADB:
      return SYSERR_PSS_NOT_A_STORE;
    default:
      return SYSERR_PSS_IO;
  }
}

syserr_t status_of_errno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return SYSERR_PSS_NO_STORE;
    case EACCES:
    case EPERM:
    case EROFS:
    case EBUSY:  // a mount point, which cannot be renamed
      return SYSERR_PSS_READ_ONLY;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return SYSERR_PSS_NO_SPACE;
    case ENOMEM:
      return SYSERR_PSS_NO_MEMORY;
    case EMFILE:
    case ENFILE:
      return SYSERR_PSS_NO_FILES;
    case EEXIST:
      return SYSERR_PSS_EXISTS;
    case EISDIR:
    case ENAMETOOLONG:
    case ELOOP:
      return SYSERR_PSS_BAD_URL;
    default:
      return SYSERR_PSS_IO;
  }
}

}  // namespace pss_embedded
