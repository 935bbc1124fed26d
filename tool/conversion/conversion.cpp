#include "tool/conversion/conversion.h"

#include "libconvertvrrp.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

const char* const running_store = VRRP_CNV_RUNNING_STORE;

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

Change Conversion::change() const {
  if (startup) return Change::none;
  if (from.has_old_layout) return Change::upgrade;
  return to.has_old_layout ? Change::downgrade : Change::none;
}

fs::path Conversion::store() const {
  const fs::path directory = root / fs::path(path).relative_path();
  return startup ? directory / &VRRP_CNV_STARTUP_DIRECTORY[1] / VRRP_CNV_STARTUP_STORE
                 : directory / VRRP_CNV_RUNNING_STORE;
}

fs::path Conversion::snapshot() const {
  const std::string name = VRRP_CNV_SNAPSHOT + (vdc == 1 ? "" : std::to_string(vdc));
  return root / fs::path(name).relative_path();
}

std::string device_path(const fs::path& root, const fs::path& directory, bool startup) {
  const fs::path relative = directory.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") {
    throw Error(exit_usage, directory.string() + ": not in the root directory " + root.string() +
                                "; use a path in the root directory, or another --root");
  }
  // The library truncates a store URL at 255 characters. The truncated URL could name another store.
  const std::string path = relative == "." ? "/" : "/" + relative.string();
  const std::string store =
      startup ? VRRP_CNV_STARTUP_DIRECTORY "/" VRRP_CNV_STARTUP_STORE : "/" VRRP_CNV_RUNNING_STORE;
  const size_t length = std::string("nonvolatile:").size() + path.size() + store.size();
  if (length > 255) {
    throw Error(exit_usage, path + ": the store URL has " + std::to_string(length) +
                                " characters; the limit is 255; set --root to a directory closer to the store");
  }
  return path;
}

}  // namespace vrrpconvert
