#include "platform/embedded/scratch_directory.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/embedded/status.h"

namespace pss_embedded {

ScratchDirectory::~ScratchDirectory() {
  if (path_[0] == '\0') return;
  unlink(store_);  // gone already when it was renamed into place
  unlink(discarded_);
  rmdir(path_);
}

syserr_t ScratchDirectory::make(const char* parent) {
  char path[sizeof path_];
  snprintf(path, sizeof path, "%s/.pss-%ld-XXXXXX", parent, static_cast<long>(getpid()));
  if (mkdtemp(path) == nullptr) return status_of_errno(errno);
  memcpy(path_, path, sizeof path_);
  snprintf(store_, sizeof store_, "%s/store", path_);
  snprintf(discarded_, sizeof discarded_, "%s/discarded", path_);
  // A umask may have taken the owner's bits.
  return chmod(path_, 0700) == 0 ? 0 : status_of_errno(errno);
}

}  // namespace pss_embedded
