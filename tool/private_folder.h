// A folder for files that nobody else may read.
#ifndef TOOL_PRIVATE_FOLDER_H
#define TOOL_PRIVATE_FOLDER_H

#include <filesystem>

namespace vrrpconvert {

// Where this machine keeps temporary files. Throws Error when TMPDIR names no folder.
std::filesystem::path temporary_folder();

// A new folder of mode 0700 inside `parent`, removed with all that it holds when the object ends.
class PrivateFolder {
 public:
  explicit PrivateFolder(const std::filesystem::path& parent);
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace vrrpconvert

#endif
