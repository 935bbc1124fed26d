// The file of an open store, and its lock. docs/store.md explains why the lock belongs to the open file description.
#ifndef PLATFORM_EMBEDDED_STORE_FILE_H
#define PLATFORM_EMBEDDED_STORE_FILE_H

#include <sys/stat.h>

#include "platform/embedded/file_descriptor.h"
#include "platform/embedded/image.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

enum class Access { read, change };

class StoreFile {
 public:
  StoreFile() = default;
  StoreFile(const StoreFile&) = delete;
  StoreFile& operator=(const StoreFile&) = delete;
  ~StoreFile() { unlock(); }

  // Opens and locks the regular file at `location`. The lock is exclusive if `access` allows changes and a new file
  // with the same owner, group and permissions can replace this one; else it is shared. Waits up to `wait_ms`
  // milliseconds in all, then returns SYSERR_PSS_BUSY.
  syserr_t open(const Location& location, Access access, int wait_ms);

  // Returns whether the lock is exclusive. The lock lasts until unlock().
  bool can_change() const { return can_change_; }

  syserr_t read(Image* image) const { return read_image(file_.get(), image); }

  // Returns whether another program may have written to the file while this process, with a shared lock, read `image`.
  // Call before unlock().
  bool may_be_mixed(const Location& location, const Image& image) const;

  // Returns the owner, group, permissions and identity of the file.
  const struct stat& status() const { return status_; }

  void unlock();

 private:
  syserr_t try_to_open(const Location& location, Access access);
  syserr_t try_to_keep_owner(const Location& location);
  syserr_t lock();
  syserr_t check_journal(const Location& location) const;

  FileDescriptor file_;
  struct stat status_ = {};
  bool can_change_ = false;
};

bool is_same_file(const struct stat& one, const struct stat& other);

}  // namespace pss_embedded

#endif
