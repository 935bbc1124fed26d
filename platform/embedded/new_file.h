// A new store file, from its creation under a temporary name until it is renamed to the path of the store.
#ifndef PLATFORM_EMBEDDED_NEW_FILE_H
#define PLATFORM_EMBEDDED_NEW_FILE_H

#include <sys/stat.h>

#include "platform/embedded/file_descriptor.h"
#include "platform/embedded/image.h"
#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// The destructor removes the file that has the temporary name, unless disown() was called.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  // Creates an empty file .pss-PID-NUMBER of mode 0600 in the directory of `location`.
  syserr_t create(const Location& location);

  // Writes the bytes, gives the file the owner, group and permissions of `owner` (if null: mode 0600), and syncs it.
  syserr_t fill(const void* bytes, sqlite3_int64 size, const struct stat* owner);

  const char* name() const { return name_; }
  int descriptor() const { return file_.get(); }

  // Prevents the destructor from removing a file. Call it if another file may have the temporary name.
  void disown() { directory_ = -1; }

 private:
  FileDescriptor file_;
  int directory_ = -1;
  char name_[48] = "";
};

}  // namespace pss_embedded

#endif
