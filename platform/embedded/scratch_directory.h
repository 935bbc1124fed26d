// A directory that only this user can enter, beside a target: other users cannot guess, plant or follow what is built
// inside.
#ifndef PLATFORM_EMBEDDED_SCRATCH_DIRECTORY_H
#define PLATFORM_EMBEDDED_SCRATCH_DIRECTORY_H

#include "platform/embedded/location.h"
#include "platform/types.h"

namespace pss_embedded {

// Holds at most two files, and is removed with them.
class ScratchDirectory {
 public:
  ScratchDirectory() = default;
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

  syserr_t make(const char* parent);

  const char* store() const { return store_; }          // a file that is renamed into place
  const char* discarded() const { return discarded_; }  // one that is lost

 private:
  char path_[path_size + 32] = "";
  char store_[path_size + 48];
  char discarded_[path_size + 48];
};

}  // namespace pss_embedded

#endif
