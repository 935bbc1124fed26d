#include "tool/conversion/preflight.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/store/paths.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

Ending refusal(const fs::path& path, const std::string& problem, Reason reason = Reason::permission) {
  return {reason, path.string() + ": " + problem};
}

// A file that the conversion writes: the new store, the backup or the snapshot.
struct WrittenFile {
  const char* what;
  fs::path directory;
};

Ending check_owner(const fs::path& store, const struct stat& file) {
  struct statx own;
  const bool is_known = statx(AT_FDCWD, store.c_str(), 0, STATX_INO, &own) == 0;
  if (is_known && (own.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
    return refusal(store, "cannot replace a mount point; unmount it");
  }
  if (const char* protection = protection_of(store); protection != nullptr) {
    return refusal(store, protection + (" " + quoted_for_shell(store)));
  }
  if (geteuid() != 0 && file.st_uid != geteuid()) {
    return refusal(store, "belongs to user " + std::to_string(file.st_uid) +
                              "; the converted store must have the same owner; convert as that user or as root");
  }
  if (access(store.c_str(), W_OK) != 0) {
    return refusal(store,
                   std::string("cannot write: ") + strerror(errno) + "; run chmod u+w " + quoted_for_shell(store));
  }
  return {};
}

Ending check_directory(const WrittenFile& file) {
  if (const char* protection = protection_of(file.directory); protection != nullptr) {
    return refusal(file.directory, protection + (" " + quoted_for_shell(file.directory)));
  }
  if (access(file.directory.c_str(), W_OK | X_OK) == 0) return {};
  const bool is_missing = errno == ENOENT;
  return refusal(file.directory,
                 std::string("cannot create a ") + file.what + " here: " + strerror(errno) +
                     (is_missing ? "; create the directory" : "; check the owner and mode of the directory"),
                 is_missing ? Reason::io : Reason::permission);
}

// Returns why `files` files of `size` bytes do not fit into the file system of `directory`, or null. Some file systems
// do not report their size, or their number of inodes.
const char* lack_of_space(const fs::path& directory, uint64_t size, uint64_t files) {
  struct statvfs system;
  if (statvfs(directory.c_str(), &system) != 0) return nullptr;
  const bool is_root = geteuid() == 0;
  const uint64_t blocks = is_root ? system.f_bfree : system.f_bavail,
                 inodes = is_root ? system.f_ffree : system.f_favail;
  if (system.f_blocks != 0 && (size + system.f_frsize - 1) / system.f_frsize * files > blocks) {
    return "not enough space; delete files on this file system";
  }
  return system.f_files != 0 && files > inodes ? "not enough inodes; delete files on this file system" : nullptr;
}

Ending check_space(const std::vector<WrittenFile>& files, uint64_t size) {
  struct stat other, own;
  for (const WrittenFile& file : files) {
    uint64_t count = 0;
    for (const WrittenFile& one : files) {
      count += stat(one.directory.c_str(), &other) == 0 && stat(file.directory.c_str(), &own) == 0 &&
               other.st_dev == own.st_dev;
    }
    const char* lack = lack_of_space(file.directory, size, count);
    if (lack == nullptr) continue;
    return refusal(file.directory,
                   "cannot write " + std::to_string(count) + (count == 1 ? " file of " : " files of ") +
                       std::to_string(size) + " bytes: " + lack,
                   Reason::no_space);
  }
  return {};
}

}  // namespace

Ending preflight(const Conversion& conversion) {
  if (conversion.change() == Change::none) return {};
  const fs::path store = conversion.store();
  std::vector<WrittenFile> files = {{"store", store.parent_path()}};
  if (!conversion.request.no_backup) files.push_back({"backup", store.parent_path()});
  if (conversion.change() == Change::upgrade) {
    fs::path directory = conversion.snapshot().parent_path();
    std::error_code ignored;
    // convert creates this directory if the root is not "/".
    const std::string& root = conversion.request.root;
    if (root != "/" && !fs::exists(directory, ignored)) directory = root;
    files.push_back({"snapshot", directory});
  }
  struct stat file;
  if (stat(store.c_str(), &file) != 0) return {};
  Ending found = check_owner(store, file);
  for (const WrittenFile& written : files) {
    if (found.is_good()) found = check_directory(written);
  }
  return found.is_good() ? check_space(files, static_cast<uint64_t>(file.st_size)) : found;
}

}  // namespace vrrpconvert
