#include "tool/conversion/kept_copy.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tool/support/error.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// "STORE.from-4.2-1", and "STORE.from-4.2-1.2" for the second.
fs::path copy_name(const fs::path& store, const Release& from, unsigned attempt) {
  std::string release = from.text.substr(0, from.text.find(')'));
  release[release.find('(')] = '-';
  return store.string() + ".from-" + release + (attempt == 1 ? "" : "." + std::to_string(attempt));
}

// A file system that cannot rename so may have links.
bool rename_to_free_name(const fs::path& from, const fs::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  return errno == EINVAL && link(from.c_str(), to.c_str()) == 0;  // the scratch directory goes with the other name
}

bool sync_directory(const fs::path& directory) {
  const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool synced = fd >= 0 && fsync(fd) == 0;
  if (fd >= 0) close(fd);
  return synced;
}

}  // namespace

fs::path keep_copy(const Store& original, const fs::path& store, const Release& from) {
  const ScratchDirectory scratch(store.parent_path());
  const fs::path made = scratch.path() / "copy";
  original.write_copy(made);
  unsigned attempt = 1;
  while (!rename_to_free_name(made, copy_name(store, from, attempt))) {
    if (errno != EEXIST) {
      throw Error(exit_io, copy_name(store, from, attempt).string() + ": no copy can be kept: " + strerror(errno));
    }
    ++attempt;
  }
  if (!sync_directory(store.parent_path())) {
    throw Error(exit_io, store.parent_path().string() + ": the copy cannot be made durable; nothing was changed");
  }
  return copy_name(store, from, attempt);
}

}  // namespace vrrpconvert
