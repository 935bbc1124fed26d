#include "platform/embedded/location.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

constexpr char scheme[] = "nonvolatile:";

// "." and ".." name a directory, and ".." could lead out of the root.
bool has_dot_part(const char* path) {
  for (const char* part = path + strspn(path, "/"); *part != '\0'; part += strspn(part, "/")) {
    const size_t length = strcspn(part, "/");
    if (length <= 2 && strspn(part, ".") == length) return true;
    part += length;
  }
  return false;
}

bool fits(int length) { return length >= 0 && length < PATH_MAX; }

// Room is kept for what is appended to the name, and for a scratch directory in the place of the name.
constexpr size_t file_length_max = path_size - 32;
constexpr size_t name_length_max = NAME_MAX - 15;

}  // namespace

syserr_t locate(const char* url, Location* location) {
  if (url == nullptr || strncmp(url, scheme, strlen(scheme)) != 0) return SYSERR_PSS_BAD_URL;
  const char* path = url + strlen(scheme);
  if (*path == '\0' || path[strlen(path) - 1] == '/' || has_dot_part(path)) return SYSERR_PSS_BAD_URL;

  const char* root = getenv("PSS_NONVOLATILE_ROOT");
  char joined[PATH_MAX];
  if (!fits(snprintf(joined, sizeof joined, "%s/%s", root != nullptr ? root : "", path))) return SYSERR_PSS_BAD_URL;

  char* name = strrchr(joined, '/') + 1;
  name[-1] = '\0';
  char directory[PATH_MAX];
  if (realpath(*joined != '\0' ? joined : "/", directory) == nullptr) return status_of_errno(errno);
  if (strlen(name) > name_length_max || has_sidecar_name(name)) return SYSERR_PSS_BAD_URL;
  const int length = snprintf(location->file, sizeof location->file, "%s/%s", directory, name);
  if (length < 0 || static_cast<size_t>(length) > file_length_max) return SYSERR_PSS_BAD_URL;
  memcpy(location->directory, directory, strlen(directory) + 1);  // shorter than the file's path
  return 0;
}

}  // namespace pss_embedded
