#include "platform/embedded/location.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

constexpr char scheme[] = "nonvolatile:";

// Refuses "." and "..", because they name a directory, and ".." could leave the root.
bool has_dot_part(const char* path) {
  for (const char* part = path + strspn(path, "/"); *part != '\0'; part += strspn(part, "/")) {
    const size_t length = strcspn(part, "/");
    if (length <= 2 && strspn(part, ".") == length) return true;
    part += length;
  }
  return false;
}

// Leaves room for a number and the suffix of a sidecar file after the name.
constexpr size_t name_length_max = NAME_MAX - 15;

}  // namespace

syserr_t locate(const char* url, Location* location) {
  if (url == nullptr || strncmp(url, scheme, strlen(scheme)) != 0) return SYSERR_PSS_BAD_URL;
  const char* path = url + strlen(scheme);
  if (*path == '\0' || path[strlen(path) - 1] == '/' || has_dot_part(path)) return SYSERR_PSS_BAD_URL;

  const char* root = getenv("PSS_NONVOLATILE_ROOT");
  char joined[PATH_MAX];
  const int length = snprintf(joined, sizeof joined, "%s/%s", root != nullptr ? root : "", path);
  if (length < 0 || length >= PATH_MAX) return SYSERR_PSS_BAD_URL;

  char* name = strrchr(joined, '/') + 1;
  name[-1] = '\0';
  location->directory.reset(open(*joined != '\0' ? joined : "/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (location->directory.get() < 0) return status_of_errno(errno);
  if (strlen(name) > name_length_max || has_sidecar_name(name)) return SYSERR_PSS_BAD_URL;
  memcpy(location->name, name, strlen(name) + 1);
  return 0;
}

}  // namespace pss_embedded
