#include "platform/embedded/location.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/status.h"

namespace pss_embedded {
namespace {

constexpr char scheme[] = "nonvolatile:";

// "." and ".." name a folder, and ".." could lead out of the root.
bool has_dot_part(const char* path) {
  for (const char* part = path + strspn(path, "/"); *part != '\0'; part += strspn(part, "/")) {
    const size_t length = strcspn(part, "/");
    if (length <= 2 && strspn(part, ".") == length) return true;
    part += length;
  }
  return false;
}

bool fits(int length) { return length >= 0 && length < PATH_MAX; }

// Room is kept for "-journal" behind the name, and for a working folder in the place of the name.
constexpr size_t file_length_max = 480;  // SQLite opens no path of more than 511 characters
constexpr size_t name_length_max = NAME_MAX - 15;

// The names of files that SQLite keeps beside a store.
bool is_companion(const char* name) {
  static constexpr const char* suffixes[] = {"-journal", "-wal", "-shm"};
  for (const char* suffix : suffixes) {
    const size_t length = strlen(name), suffix_length = strlen(suffix);
    if (length >= suffix_length && strcmp(name + length - suffix_length, suffix) == 0) return true;
  }
  return false;
}

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
  if (realpath(*joined != '\0' ? joined : "/", location->folder) == nullptr) return status_of_errno(errno);
  if (strlen(name) > name_length_max || is_companion(name)) return SYSERR_PSS_BAD_URL;
  const int length = snprintf(location->file, sizeof location->file, "%s/%s", location->folder, name);
  return fits(length) && static_cast<size_t>(length) <= file_length_max ? 0 : SYSERR_PSS_BAD_URL;
}

}  // namespace pss_embedded
