#include "platform/embedded/store_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/embedded/deadline.h"
#include "platform/embedded/new_file.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

// The bytes of SQLite's lock protocol. A store never has data in these bytes.
constexpr off_t pending_byte = 0x40000000, reserved_byte = pending_byte + 1, shared_first = pending_byte + 2,
                shared_size = 510;

struct flock lock_of(short type, off_t start, off_t size) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = size;
  return lock;
}

// Locks the open file description: the host can close another descriptor of the file without releasing the lock.
int lock_bytes(int fd, short type, off_t start, off_t size) {
  const struct flock lock = lock_of(type, start, size);
  return fcntl(fd, F_OFD_SETLK, &lock);
}

// Returns whether another process has locked one of the bytes.
bool is_locked(int fd, off_t start, off_t size) {
  struct flock lock = lock_of(F_WRLCK, start, size);
  return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Returns whether the file is a mount point, which cannot be replaced.
bool is_mount_point(const Location& location) {
  struct statx found;
  return statx(location.directory.get(), location.name, AT_SYMLINK_NOFOLLOW, 0, &found) == 0 &&
         (found.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// Returns whether a new file can replace this one.
bool can_replace(const Location& location) {
  return faccessat(location.directory.get(), ".", W_OK | X_OK, AT_EACCESS) == 0 && !is_mount_point(location);
}

// Uses O_NONBLOCK, because a FIFO at this path or a lease of another process would block the caller.
int open_file(const Location& location, int mode) {
  return openat(location.directory.get(), location.name, mode | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

}  // namespace

bool is_same_file(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

syserr_t StoreFile::open(const Location& location, Access access, int wait_ms) {
  Deadline deadline(wait_ms);
  syserr_t status;
  do {
    status = try_to_open(location, access);
    if (status != 0) unlock();
  } while (status == SYSERR_PSS_BUSY && deadline.pause());
  return status;
}

syserr_t StoreFile::try_to_open(const Location& location, Access access) {
  // Check the type first: opening a device file can trigger an action of its driver.
  if (fstatat(location.directory.get(), location.name, &status_, AT_SYMLINK_NOFOLLOW) != 0) {
    return status_of_errno(errno);
  }
  if (!S_ISREG(status_.st_mode)) return SYSERR_PSS_NOT_A_STORE;
  can_change_ = access == Access::change && can_replace(location);
  int fd = open_file(location, can_change_ ? O_RDWR : O_RDONLY);
  if (fd < 0 && can_change_ && (errno == EACCES || errno == EPERM || errno == EROFS)) {
    can_change_ = false;
    fd = open_file(location, O_RDONLY);
  }
  if (fd < 0) {
    if (errno == EWOULDBLOCK) return SYSERR_PSS_BUSY;  // another process has a lease
    return errno == ELOOP ? SYSERR_PSS_NOT_A_STORE : status_of_errno(errno);
  }
  file_.reset(fd);
  const syserr_t status = lock();
  if (status != 0) return status;

  // The lock protects the file, not its path: another process may have replaced the file before the lock was granted.
  struct stat opened, named;
  if (fstat(file_.get(), &opened) != 0) return status_of_errno(errno);
  if (fstatat(location.directory.get(), location.name, &named, AT_SYMLINK_NOFOLLOW) != 0) return status_of_errno(errno);
  if (!is_same_file(opened, named) || !is_same_file(opened, status_)) return SYSERR_PSS_BUSY;
  status_ = opened;
  const syserr_t checked = check_journal(location);
  return checked != 0 || !can_change_ ? checked : try_to_keep_owner(location);
}

// If a new file in the directory cannot get the owner and group of this one, opens the store for reading. Checks this
// at open, because the library ignores a failed pss_close after a downgrade. Checks it after the lock, because open()
// repeats every earlier step after each pause.
syserr_t StoreFile::try_to_keep_owner(const Location& location) {
  if (status_.st_uid == geteuid() && status_.st_gid == getegid()) return 0;
  NewFile trial;
  const syserr_t status = trial.create(location);
  if (status == 0 && fchown(trial.descriptor(), status_.st_uid, status_.st_gid) == 0) return 0;
  if (status != 0 && status != SYSERR_PSS_READ_ONLY) return status;  // no space, inode or descriptor, for example
  can_change_ = false;
  return lock();
}

syserr_t StoreFile::lock() {
  const bool locked =
      can_change_ ? lock_bytes(file_.get(), F_WRLCK, pending_byte, shared_first + shared_size - pending_byte) == 0
                  : lock_bytes(file_.get(), F_RDLCK, pending_byte, 1) == 0 &&
                        lock_bytes(file_.get(), F_RDLCK, shared_first, shared_size) == 0;
  if (locked) return 0;
  return errno == EAGAIN || errno == EACCES ? SYSERR_PSS_BUSY : status_of_errno(errno);
}

// Returns SYSERR_PSS_UNTRUSTED if a journal or write-ahead log is not empty and no other process has locked the store.
syserr_t StoreFile::check_journal(const Location& location) const {
  bool is_unfinished;
  const syserr_t status = has_unfinished_change(location.directory.get(), location.name, &is_unfinished);
  if (status != 0 || !is_unfinished) return status;
  // A writer with the reserved lock has not written to the file yet, because readers are still allowed.
  if (is_locked(file_.get(), reserved_byte, 1)) return 0;
  // A process that has the file open with a write-ahead log holds this shared lock.
  return is_locked(file_.get(), shared_first, shared_size) ? SYSERR_PSS_BUSY : SYSERR_PSS_UNTRUSTED;
}

// A program with a write-ahead log holds a shared lock while it has the file open, and may copy pages from the log to
// the file meanwhile. The log still exists afterwards, because it cannot be removed while this process has its own
// shared lock.
bool StoreFile::may_be_mixed(const Location& location, const Image& image) const {
  return image.has_wal && !can_change_ &&
         (is_locked(file_.get(), shared_first, shared_size) || has_sidecar(location.directory.get(), location.name));
}

void StoreFile::unlock() {
  // Unlock explicitly: a child process that the host forked shares the open file description.
  if (file_.get() >= 0) (void)lock_bytes(file_.get(), F_UNLCK, 0, 0);
  file_.reset(-1);
}

}  // namespace pss_embedded
