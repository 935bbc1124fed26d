// A new file of a store, from its creation under a name of its own until it has its place.
#ifndef PLATFORM_EMBEDDED_NEW_FILE_H
#define PLATFORM_EMBEDDED_NEW_FILE_H

#include <sys/stat.h>

#include "platform/embedded/file_descriptor.h"
#include "platform/embedded/image.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// Whatever has the file's own name when the object ends is removed.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  // Creates an empty file of mode 0600 in `place`'s directory, named .pss-PID-NUMBER.
  syserr_t create(const Location& place);

  // Writes the bytes, gives the file the owner, group and permissions of `owner`, unless that is null, and syncs it.
  syserr_t fill(const void* bytes, sqlite3_int64 size, const struct stat* owner);

  const char* name() const { return name_; }
  int descriptor() const { return file_.get(); }

  // From here on nothing is removed: the name may have become another file's.
  void disown() { directory_ = -1; }

 private:
  FileDescriptor file_;
  int directory_ = -1;
  char name_[48] = "";
};

}  // namespace pss_embedded

#endif
