#include "platform/embedded/sidecar_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace pss_embedded {

SidecarPath::SidecarPath(const char* file, const char* suffix) { snprintf(text, sizeof text, "%s%s", file, suffix); }

bool has_sidecar_name(const char* name) {
  for (const char* suffix : sidecar_suffixes) {
    const size_t length = strlen(name), suffix_length = strlen(suffix);
    if (length >= suffix_length && strcmp(name + length - suffix_length, suffix) == 0) return true;
  }
  return false;
}

bool has_sidecar(const char* file) {
  struct stat status;
  for (const char* suffix : sidecar_suffixes) {
    if (lstat(SidecarPath(file, suffix).text, &status) == 0) return true;
  }
  return false;
}

bool can_trust_sidecars(const char* file, uid_t owner) {
  for (const char* suffix : sidecar_suffixes) {
    struct stat status;
    if (lstat(SidecarPath(file, suffix).text, &status) != 0) continue;
    if (!S_ISREG(status.st_mode) || (status.st_uid != owner && status.st_uid != geteuid())) return false;
  }
  return true;
}

}  // namespace pss_embedded
