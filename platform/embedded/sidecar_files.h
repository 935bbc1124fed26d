// The files that SQLite keeps beside a store. A journal there may be the only way to undo what an interrupted writer
// did.
#ifndef PLATFORM_EMBEDDED_SIDECAR_FILES_H
#define PLATFORM_EMBEDDED_SIDECAR_FILES_H

#include <sys/types.h>

#include "platform/embedded/location.h"

namespace pss_embedded {

inline constexpr const char* sidecar_suffixes[] = {"-journal", "-wal", "-shm"};

struct SidecarPath {
  char text[path_size + 32];
  SidecarPath(const char* file, const char* suffix);
};

bool has_sidecar_name(const char* name);

// Whether any sidecar file lies beside `file`.
bool has_sidecar(const char* file);

// Whether every sidecar file of `file` is a regular file of `owner` or of this user: SQLite plays back whatever stands
// there, so a FIFO would hold the caller for ever, and another user's journal would change the store.
bool can_trust_sidecars(const char* file, uid_t owner);

}  // namespace pss_embedded

#endif
