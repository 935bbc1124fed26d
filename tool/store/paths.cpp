#include "tool/store/paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/embedded/pss_embedded.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

fs::path existing_directory(const fs::path& path) {
  std::error_code error;
  const fs::path directory = fs::canonical(path.empty() ? "." : path, error);
  if (error || !fs::is_directory(directory)) {
    throw Error(Reason::missing, path.string() + ": no such directory");
  }
  return directory;
}

std::vector<fs::path> files_in(const fs::path& directory) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    files.push_back(at->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> unfinished_files_in(const fs::path& directory) {
  std::vector<fs::path> files = files_in(directory);
  std::erase_if(
      files, [](const fs::path& file) { return !file.filename().string().starts_with(PSS_EMBEDDED_NEW_FILE_PREFIX); });
  return files;
}

const char* protection_of(const fs::path& path) {
  struct statx status;
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, 0, &status) != 0) return nullptr;
  if ((status.stx_attributes & STATX_ATTR_IMMUTABLE) != 0) return "has the attribute immutable; run chattr -i";
  return (status.stx_attributes & STATX_ATTR_APPEND) != 0 ? "has the attribute append-only; run chattr -a" : nullptr;
}

ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace vrrpconvert
