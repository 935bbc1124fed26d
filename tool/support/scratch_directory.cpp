#include "tool/support/scratch_directory.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tool/support/error.h"

namespace vrrpconvert {

std::filesystem::path temporary_directory() {
  std::error_code error;
  const auto directory = std::filesystem::temp_directory_path(error);
  if (error)
    throw Error(exit_usage, "TMPDIR names no directory: " + error.message() + "; name one that can be written");
  return directory;
}

ScratchDirectory::ScratchDirectory(const std::filesystem::path& parent) {
  std::string name = parent / ".vrrpconvert-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw Error(exit_io, parent.string() + ": cannot create a scratch directory here: " + strerror(errno));
  }
  path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;  // a directory that is left behind does no harm
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace vrrpconvert
