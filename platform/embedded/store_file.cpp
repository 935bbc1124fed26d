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

// The bytes that SQLite's lock protocol is about. They lie behind what a store can hold or are no data of it.
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

// Locks of the open file description: the host may close another descriptor of the file without losing them.
int lock_bytes(int fd, short type, off_t start, off_t size) {
  const struct flock lock = lock_of(type, start, size);
  return fcntl(fd, F_OFD_SETLK, &lock);
}

// Whether another process holds a lock on one of the bytes.
bool is_locked(int fd, off_t start, off_t size) {
  struct flock lock = lock_of(F_WRLCK, start, size);
  return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Whether a new file in the directory can get the owner and group of this one; where it has others, tried out.
bool can_give(const Location& location, const struct stat& file) {
  if (file.st_uid == geteuid() && file.st_gid == getegid()) return true;
  NewFile trial;
  return trial.create(location) == 0 && fchown(trial.descriptor(), file.st_uid, file.st_gid) == 0;
}

// A file that is mounted by itself cannot be replaced.
bool is_mount_point(const Location& location) {
  struct statx found;
  return statx(location.directory.get(), location.name, AT_SYMLINK_NOFOLLOW, 0, &found) == 0 &&
         (found.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// Whether a new file can take the name of this one.
bool can_replace(const Location& location) {
  return faccessat(location.directory.get(), ".", W_OK | X_OK, AT_EACCESS) == 0 && !is_mount_point(location);
}

// O_NONBLOCK: a FIFO that takes the name in between would hold the caller, and so would another process's lease.
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
  // Check the type before opening the file: opening a device can have effects.
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
    if (errno == EWOULDBLOCK) return SYSERR_PSS_BUSY;  // a lease
    return errno == ELOOP ? SYSERR_PSS_NOT_A_STORE : status_of_errno(errno);
  }
  file_.reset(fd);
  const syserr_t status = lock();
  if (status != 0) return status;

  // The lock protects the file, not its name: before it was granted, another process may have put a new file there.
  struct stat opened, named;
  if (fstat(file_.get(), &opened) != 0) return status_of_errno(errno);
  if (fstatat(location.directory.get(), location.name, &named, AT_SYMLINK_NOFOLLOW) != 0) return status_of_errno(errno);
  if (!is_same_file(opened, named) || !is_same_file(opened, status_)) return SYSERR_PSS_BUSY;
  status_ = opened;
  const syserr_t checked = check_journal(location);
  if (checked != 0 || !can_change_ || can_give(location, status_)) return checked;
  // Found here and not at the close, whose status the library ignores after a downgrade; and only once the store is
  // locked, so that no wait tries it again and again.
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

// A journal without a living writer says that the file holds a part of a change.
syserr_t StoreFile::check_journal(const Location& location) const {
  bool is_unfinished;
  const syserr_t status = has_unfinished_change(location.directory.get(), location.name, &is_unfinished);
  if (status != 0 || !is_unfinished) return status;
  // A writer that holds its lock has not written to the file itself, as long as readers may.
  if (is_locked(file_.get(), reserved_byte, 1)) return 0;
  // A process that has the file open with a write-ahead log shares this lock.
  return is_locked(file_.get(), shared_first, shared_size) ? SYSERR_PSS_BUSY : SYSERR_PSS_UNTRUSTED;
}

void StoreFile::unlock() {
  // Explicitly: a process that the host forked meanwhile has the same open file description.
  if (file_.get() >= 0) (void)lock_bytes(file_.get(), F_UNLCK, 0, 0);
  file_.reset(-1);
}

}  // namespace pss_embedded
