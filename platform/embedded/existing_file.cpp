#include "platform/embedded/existing_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_format.h"

namespace pss_embedded {
namespace {

bool exists(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0;
}

bool is_directory(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Whether the file is an intact store with the records of `content`. One with a sidecar file is not opened: that would
// change it.
bool holds(const char* file, const Digest& content) {
  struct stat status;
  if (lstat(file, &status) != 0 || !S_ISREG(status.st_mode) || has_sidecar(file)) return false;
  Digest found;
  return check_store(file, &found) == 0 && found == content;
}

// The first name "FILE.1", "FILE.2" ... that neither a file nor a sidecar file of it has.
struct FreeName {
  char text[path_size + 16];

  explicit FreeName(const char* file) {
    unsigned number = 0;
    do {
      snprintf(text, sizeof text, "%s.%u", file, ++number);
    } while (exists(text) || has_sidecar(text));
  }
};

// The sidecar files go first: beside a store that takes the place, SQLite would play them back into it.
syserr_t rename_with_sidecars(const char* file, const char* name) {
  for (const char* suffix : sidecar_suffixes) {
    const SidecarPath from(file, suffix), to(name, suffix);
    if (rename_to_free_name(from.text, to.text) != 0 && errno != ENOENT) return status_of_errno(errno);
  }
  return rename_to_free_name(file, name) == 0 || errno == ENOENT ? 0 : status_of_errno(errno);
}

// The sync makes the name durable before anything takes the place: after a power cut the content has one name or both.
syserr_t keep(const char* file, int directory) {
  const FreeName name(file);
  // By a second name, so that the place is never empty, where the file system has such and no sidecar file has to go.
  const bool is_linked = !has_sidecar(file) && link(file, name.text) == 0;
  const syserr_t status = is_linked ? 0 : rename_with_sidecars(file, name.text);
  if (status != 0) return status;
  return fsync(directory) == 0 ? 0 : status_of_errno(errno);
}

// SQLite would play a stale journal back into the new file.
syserr_t remove_with_sidecars(const char* file, const char* aside) {
  for (const char* suffix : sidecar_suffixes) {
    const SidecarPath sidecar(file, suffix);
    if (!exists(sidecar.text)) continue;
    // Moved aside before the store goes: where it may not be moved, the store is still there.
    if (rename(sidecar.text, aside) != 0) return status_of_errno(errno);
    if (unlink(file) != 0 && errno != ENOENT) return status_of_errno(errno);
  }
  return 0;
}

}  // namespace

int rename_to_free_name(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return -1;
  // The file system cannot rename so, but may have links.
  return link(from, to) == 0 ? unlink(from) : -1;
}

syserr_t make_way(const Location& location, Existing existing, const Digest& content, int directory,
                  const char* aside) {
  const bool has_sidecars = has_sidecar(location.file);
  if (!exists(location.file) && !has_sidecars) return 0;
  // A stale journal may be the only recovery data, so that nothing new goes beside one.
  if (existing == Existing::refuse) return SYSERR_PSS_EXISTS;
  if (is_directory(location.file)) return SYSERR_PSS_BAD_URL;
  for (const char* suffix : sidecar_suffixes) {
    if (is_directory(SidecarPath(location.file, suffix).text)) return SYSERR_PSS_BAD_URL;
  }
  if (existing == Existing::replace) return remove_with_sidecars(location.file, aside);
  return holds(location.file, content) ? 0 : keep(location.file, directory);
}

}  // namespace pss_embedded
