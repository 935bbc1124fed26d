#include "platform/embedded/store_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "platform/embedded/database.h"
#include "platform/embedded/new_file.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/embedded/sidecar_files.h"
#include "platform/embedded/status.h"
#include "platform/embedded/store_file.h"
#include "platform/embedded/store_format.h"

namespace pss_embedded {
namespace {

constexpr size_t name_size = NAME_MAX + 32;

bool find(int directory, const char* name, struct stat* found) {
  return fstatat(directory, name, found, AT_SYMLINK_NOFOLLOW) == 0;
}

// rename_to_free_name and exchange return 0, or -1 with errno set.

int rename_to_free_name(int directory, const char* from, const char* to) {
  if (renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return -1;
  // The file system has no RENAME_NOREPLACE, but may have hard links.
  return linkat(directory, from, directory, to, 0) == 0 ? unlinkat(directory, from, 0) : -1;
}

int exchange(int directory, const char* one, const char* other) {
  return renameat2(directory, one, directory, other, RENAME_EXCHANGE);
}

void move_sidecars(int directory, const char* from, const char* to, syserr_t* status) {
  for (const char* suffix : sidecar_suffixes) {
    const SidecarName sidecar(from, suffix), target(to, suffix);
    if (rename_to_free_name(directory, sidecar.text, target.text) != 0 && errno != ENOENT && *status == 0) {
      *status = status_of_errno(errno);
    }
  }
}

// Returns whether the file is an intact store with the records of `content`. Does not read a much larger file: another
// user may have put it there, and this process holds the lock of the store.
bool holds(const Location& location, const Content& content) {
  constexpr sqlite3_int64 more_max = 1 << 20;
  StoreFile file;
  Image image;
  Database database;
  Digest found;
  return file.open(location, Access::read, 0) == 0 && file.status().st_size <= 2 * content.size + more_max &&
         file.read(&image) == 0 && open_image(&image, &database) == 0 && check_store(database.get(), &found) == 0 &&
         found == content.digest;
}

// Renames `from` to the first name NAME.1, NAME.2, ... that neither a file nor its sidecar files have.
syserr_t rename_to_next_name(const Location& location, const char* from, char (&name)[name_size], uint32* number) {
  const int directory = location.directory.get();
  for (*number = 1;; ++*number) {
    snprintf(name, sizeof name, "%s.%u", location.name, *number);
    if (has_sidecar(directory, name)) continue;
    if (rename_to_free_name(directory, from, name) == 0) return 0;
    if (errno != EEXIST) return status_of_errno(errno);
  }
}

class Replacement {
 public:
  Replacement(const Location& location, NewFile& made)
      : location_(location), directory_(location.directory.get()), made_(made) {}

  // Renames the new file to the path. Returns SYSERR_PSS_EXISTS if the path exists.
  syserr_t take() {
    return rename_to_free_name(directory_, made_.name(), location_.name) == 0 ? 0 : status_of_errno(errno);
  }

  // Replaces the file `lost`. If another process has replaced it, renames that file back and returns SYSERR_PSS_BUSY.
  syserr_t replace(const struct stat& lost) {
    struct stat found;
    if (exchange(directory_, made_.name(), location_.name) == 0) {
      if (find(directory_, made_.name(), &found) && is_same_file(found, lost)) return 0;
      return put_back();
    }
    if (errno != EINVAL) return status_of_errno(errno);
    if (!find(directory_, location_.name, &found) || !is_same_file(found, lost)) return SYSERR_PSS_BUSY;
    return renameat(directory_, made_.name(), directory_, location_.name) == 0 ? 0 : status_of_errno(errno);
  }

  // Replaces the existing file, which is renamed to the next free name.
  syserr_t keep(uint32* kept) {
    if (has_sidecar(directory_, location_.name)) return keep_with_sidecars(kept);
    // Rename the new file to that name first, then exchange both names, so that both files have a name at any time.
    char name[name_size];
    const syserr_t status = rename_to_next_name(location_, made_.name(), name, kept);
    if (status != 0 || exchange(directory_, name, location_.name) == 0) return status;
    const int reason = errno;
    if (rename_to_free_name(directory_, name, made_.name()) != 0) return SYSERR_PSS_IO;
    return reason == EINVAL ? keep_by_steps(name) : status_of_errno(reason);
  }

 private:
  // keep() on a file system without RENAME_EXCHANGE: the path names no file for a moment.
  syserr_t keep_by_steps(const char* name) {
    if (rename_to_free_name(directory_, location_.name, name) != 0) return status_of_errno(errno);
    return take_after(name);
  }

  // Renames the new file to the path after the existing file was renamed to `kept`. If that fails, renames the existing
  // file back.
  syserr_t take_after(const char* kept) {
    const syserr_t status = take();
    if (status != 0)
      (void)rename_to_free_name(directory_, kept, location_.name);  // ignored: the path may name another file now
    return status;
  }

  // Rename the sidecar files first: SQLite would replay them into the new file.
  syserr_t keep_with_sidecars(uint32* kept) {
    char name[name_size];
    struct stat found;
    *kept = 0;
    do {
      snprintf(name, sizeof name, "%s.%u", location_.name, ++*kept);
    } while (find(directory_, name, &found) || has_sidecar(directory_, name));
    syserr_t status = 0;
    move_sidecars(directory_, location_.name, name, &status);
    if (status == 0 && rename_to_free_name(directory_, location_.name, name) != 0 && errno != ENOENT) {
      status = status_of_errno(errno);
    }
    if (status == 0) status = take_after(name);
    if (status == 0) return 0;
    // Undo the renames. Return the first failure, not one of these.
    syserr_t ignored = 0;
    move_sidecars(directory_, name, location_.name, &ignored);
    return status;
  }

  syserr_t put_back() {
    struct stat found, own;
    if (exchange(directory_, made_.name(), location_.name) != 0) {
      made_.disown();
      return SYSERR_PSS_IO;
    }
    const bool is_own =
        fstat(made_.descriptor(), &own) == 0 && find(directory_, made_.name(), &found) && is_same_file(found, own);
    if (is_own) return SYSERR_PSS_BUSY;
    // The file is not the new one: another process replaced it. Keep it under a free name.
    char name[name_size];
    uint32 number;
    made_.disown();
    (void)rename_to_next_name(location_, made_.name(), name, &number);  // ignored: the file keeps its name
    return SYSERR_PSS_BUSY;
  }

  const Location& location_;
  int directory_;
  NewFile& made_;
};

syserr_t put(const Location& location, const Content& content, Existing existing, NewFile& made, uint32* kept) {
  *kept = 0;
  Replacement replacement(location, made);
  struct stat found;
  const bool has_sidecars = has_sidecar(location.directory.get(), location.name);
  // Refuse a path with sidecar files: the old store may need them, and SQLite would replay them into the new store.
  if (existing == Existing::refuse) return has_sidecars ? SYSERR_PSS_EXISTS : replacement.take();
  // Keep the file open, so that its inode number is not reused.
  const FileDescriptor existing_file(openat(location.directory.get(), location.name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (existing_file.get() < 0 || fstat(existing_file.get(), &found) != 0) {
    if (errno != ENOENT) return status_of_errno(errno);
    return has_sidecars ? replacement.keep(kept) : replacement.take();
  }
  const bool is_to_be_lost =
      !has_sidecars && !S_ISDIR(found.st_mode) && (existing == Existing::replace || holds(location, content));
  return is_to_be_lost ? replacement.replace(found) : replacement.keep(kept);
}

// Returns whether another process changed the path between two calls.
bool was_changed_meanwhile(syserr_t status) {
  return status == SYSERR_PSS_EXISTS || status == SYSERR_PSS_NO_STORE || status == SYSERR_PSS_BUSY;
}

syserr_t write_and_put(const Location& location, const Content& content, Existing existing, const struct stat* owner,
                       uint32* kept) {
  NewFile made;
  syserr_t status = made.create(location);
  if (status == 0) status = made.fill(content.bytes, content.size, owner);
  if (status != 0) return status;
  status = put(location, content, existing, made, kept);
  constexpr int attempts_max = 100;
  for (int attempt = 1; existing != Existing::refuse && was_changed_meanwhile(status) && attempt < attempts_max;
       ++attempt) {
    status = put(location, content, existing, made, kept);
  }
  return status;
}

syserr_t write_and_replace(const Location& location, const Content& content, const struct stat& file) {
  NewFile made;
  syserr_t status = made.create(location);
  if (status == 0) status = made.fill(content.bytes, content.size, &file);
  return status != 0 ? status : Replacement(location, made).replace(file);
}

// Opens the directory for fsync. Call before any change: if that fails, nothing was changed.
int open_directory(const Location& location) {
  return openat(location.directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// Syncs the directory after the rename. Every failure is SYSERR_PSS_IO: the store is in place, and may not be durable.
syserr_t sync(const FileDescriptor& directory) { return fsync(directory.get()) == 0 ? 0 : SYSERR_PSS_IO; }

}  // namespace

syserr_t put_store(const Location& location, const Content& content, Existing existing, bool inherits, uint32* kept) {
  *kept = 0;
  const FileDescriptor directory(open_directory(location));
  if (directory.get() < 0) return status_of_errno(errno);
  struct stat replaced;
  const bool is_there = inherits && find(location.directory.get(), location.name, &replaced);
  if (inherits && !is_there && errno != ENOENT) return status_of_errno(errno);
  const struct stat* owner = is_there && S_ISREG(replaced.st_mode) ? &replaced : nullptr;
  const syserr_t status = write_and_put(location, content, existing, owner, kept);
  if (status != 0) *kept = 0;
  return status != 0 ? status : sync(directory);
}

syserr_t update_store(const Location& location, const Content& content, const struct stat& file) {
  const FileDescriptor directory(open_directory(location));
  if (directory.get() < 0) return status_of_errno(errno);
  const syserr_t status = write_and_replace(location, content, file);
  return status != 0 ? status : sync(directory);
}

}  // namespace pss_embedded
