#include "platform/embedded/sidecar_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "platform/embedded/status.h"

namespace pss_embedded {

SidecarName::SidecarName(const char* name, const char* suffix) { snprintf(text, sizeof text, "%s%s", name, suffix); }

bool has_sidecar_name(const char* name) {
  for (const char* suffix : sidecar_suffixes) {
    const size_t length = strlen(name), suffix_length = strlen(suffix);
    if (length >= suffix_length && strcmp(name + length - suffix_length, suffix) == 0) return true;
  }
  return false;
}

bool has_sidecar(int directory, const char* name) {
  struct stat status;
  for (const char* suffix : sidecar_suffixes) {
    if (fstatat(directory, SidecarName(name, suffix).text, &status, AT_SYMLINK_NOFOLLOW) == 0) return true;
  }
  return false;
}

syserr_t has_unfinished_change(int directory, const char* name, bool* does) {
  *does = false;
  for (const char* suffix : {"-journal", "-wal"}) {
    struct stat status;
    if (fstatat(directory, SidecarName(name, suffix).text, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      *does = *does || !S_ISREG(status.st_mode) || status.st_size > 0;
    } else if (errno != ENOENT) {
      return status_of_errno(errno);
    }
  }
  return 0;
}

}  // namespace pss_embedded
