#include "platform/embedded/new_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {

NewFile::~NewFile() {
  // Ignore the status: the prefix identifies a file that could not be removed.
  if (directory_ >= 0) (void)unlinkat(directory_, name_, 0);
}

syserr_t NewFile::create(const Location& location) {
  // A random number, so that no other process can create the file first.
  unsigned long long number;
  if (getrandom(&number, sizeof number, 0) != sizeof number) return SYSERR_PSS_IO;
  snprintf(name_, sizeof name_, PSS_EMBEDDED_NEW_FILE_PREFIX "%ld-%llx", static_cast<long>(getpid()), number);
  file_.reset(openat(location.directory.get(), name_, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file_.get() < 0) return status_of_errno(errno);
  directory_ = location.directory.get();
  return 0;
}

syserr_t NewFile::fill(const void* bytes, sqlite3_int64 size, const struct stat* owner) {
  const syserr_t status = write_bytes(file_.get(), bytes, size);
  if (status != 0) return status;
  struct stat own;
  if (fstat(file_.get(), &own) != 0) return status_of_errno(errno);
  const bool is_to_be_given = owner != nullptr && (own.st_uid != owner->st_uid || own.st_gid != owner->st_gid);
  if (is_to_be_given && fchown(file_.get(), owner->st_uid, owner->st_gid) != 0) return status_of_errno(errno);
  // Needed without `owner` too, because the umask may have removed bits.
  if (fchmod(file_.get(), owner != nullptr ? owner->st_mode & 0777 : 0600) != 0) return status_of_errno(errno);
  return fsync(file_.get()) == 0 ? 0 : status_of_errno(errno);
}

}  // namespace pss_embedded
