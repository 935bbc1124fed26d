// Sidecar files, which SQLite creates next to a database. This platform neither creates nor opens them. A sidecar file
// that is not empty belongs to another program, and may be needed to roll back an unfinished change.
#ifndef PLATFORM_EMBEDDED_SIDECAR_FILES_H
#define PLATFORM_EMBEDDED_SIDECAR_FILES_H

#include <climits>

#include "platform/embedded/pss_embedded.h"

namespace pss_embedded {

inline constexpr const char* sidecar_suffixes[] = PSS_EMBEDDED_SIDECARS;

struct SidecarName {
  char text[NAME_MAX + 32];
  SidecarName(const char* name, const char* suffix);
};

bool has_sidecar_name(const char* name);

// Returns whether `directory` contains a sidecar file of `name`.
bool has_sidecar(int directory, const char* name);

// Sets `*does` if a journal or write-ahead log of `name` is not empty, or is not a regular file. Returns 0, or the
// status of the failure.
syserr_t has_unfinished_change(int directory, const char* name, bool* does);

}  // namespace pss_embedded

#endif
