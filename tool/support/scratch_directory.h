// A directory for files that no other user may read.
#ifndef TOOL_SUPPORT_SCRATCH_DIRECTORY_H
#define TOOL_SUPPORT_SCRATCH_DIRECTORY_H

#include <filesystem>

namespace vrrpconvert {

// Where this machine keeps temporary files. Throws Error when TMPDIR names no directory.
std::filesystem::path temporary_directory();

// A new directory of mode 0700 inside `parent`, removed with all that it holds when the object ends.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(const std::filesystem::path& parent);
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace vrrpconvert

#endif
