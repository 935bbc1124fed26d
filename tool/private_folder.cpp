#include "tool/private_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tool/error.h"

namespace vrrpconvert {

PrivateFolder::PrivateFolder(const std::filesystem::path& parent) {
  std::string name = parent / ".vrrpconvert-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw Error(exit_io, parent.string() + ": cannot create a working folder here: " + strerror(errno));
  }
  path_ = name;
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;  // a folder that is left behind does no harm
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace vrrpconvert
