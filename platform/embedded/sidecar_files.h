// The files that SQLite keeps beside a database. This platform makes none and never opens one; one that is not empty
// belongs to another program, and may be needed to undo a change that it did not finish.
#ifndef PLATFORM_EMBEDDED_SIDECAR_FILES_H
#define PLATFORM_EMBEDDED_SIDECAR_FILES_H

#include <climits>

#include "platform/types.h"

namespace pss_embedded {

inline constexpr const char* sidecar_suffixes[] = {"-journal", "-wal", "-shm"};

struct SidecarName {
  char text[NAME_MAX + 32];
  SidecarName(const char* name, const char* suffix);
};

bool has_sidecar_name(const char* name);

// Whether there is any sidecar file of `name` in `directory`.
bool has_sidecar(int directory, const char* name);

// Reports in `*does` whether a journal or a write-ahead log of `name` holds something, or is no regular file. Returns 0
// or the status that says why nothing is known.
syserr_t has_unfinished_change(int directory, const char* name, bool* does);

}  // namespace pss_embedded

#endif
