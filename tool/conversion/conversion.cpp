#include "tool/conversion/conversion.h"

#include "libconvertvrrp.h"
#include "tool/conversion/loss.h"
#include "tool/store/paths.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Returns the path of `directory` on the device, whose / is `root`.
std::string device_path(const fs::path& root, const fs::path& directory, bool startup) {
  const fs::path relative = directory.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") {
    throw Error(Reason::usage, directory.string() + ": not in the root directory " + root.string() +
                                   "; use a path in the root directory, or another --root");
  }
  // The library truncates a store URL at 255 characters. The truncated URL could name another store.
  const std::string path = relative == "." ? "/" : "/" + relative.string();
  const std::string store =
      startup ? VRRP_CNV_STARTUP_DIRECTORY "/" VRRP_CNV_STARTUP_STORE : "/" VRRP_CNV_RUNNING_STORE;
  const size_t length = std::string("nonvolatile:").size() + path.size() + store.size();
  if (length > 255) {
    throw Error(Reason::usage, path + ": the store URL has " + std::to_string(length) +
                                   " characters; the limit is 255; set --root to a directory closer to the store");
  }
  return path;
}

}  // namespace

const char* const running_store = VRRP_CNV_RUNNING_STORE;

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

Conversion::Conversion(const Request& given)
    : request(given), from(parse_release("--from", given.from)), to(parse_release("--to", given.to)) {
  if (request.vdc < 1 || request.vdc > 65535) throw Error(Reason::usage, "--vdc: expected a number from 1 to 65535");
  for (const std::string& name : request.accepted) require_loss(name);
  for (const std::string& text : request.defaults) defaults.add(text);
  select(request.root, request.directory);
}

void Conversion::select(const fs::path& root_directory, const fs::path& directory) {
  const fs::path root = existing_directory(root_directory.empty() ? "/" : root_directory);
  std::error_code ignored;
  if (fs::is_regular_file(directory, ignored)) {
    throw Error(Reason::usage, directory.string() + ": not a directory; use " +
                                   (directory.has_parent_path() ? directory.parent_path().string() : "."));
  }
  const fs::path existing = existing_directory(directory);
  path = device_path(root, existing, request.startup);
  request.root = root;
  request.directory = existing;
}

Change Conversion::change() const {
  if (request.startup) return Change::none;
  if (from.has_old_layout) return Change::upgrade;
  return to.has_old_layout ? Change::downgrade : Change::none;
}

fs::path Conversion::store() const {
  const fs::path directory = request.root / fs::path(path).relative_path();
  return request.startup ? directory / &VRRP_CNV_STARTUP_DIRECTORY[1] / VRRP_CNV_STARTUP_STORE
                         : directory / VRRP_CNV_RUNNING_STORE;
}

fs::path Conversion::snapshot() const { return snapshot_below(request.root, request.vdc); }

std::string store_at(const std::string& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored) ? fs::path(path) / running_store : fs::path(path);
}

fs::path snapshot_below(const fs::path& root, uint32 vdc) {
  return root / fs::path(VRRP_CNV_SNAPSHOT + (vdc == 1 ? "" : std::to_string(vdc))).relative_path();
}

bool is_snapshot_name(const fs::path& file) {
  return file.filename().native().starts_with(fs::path(VRRP_CNV_SNAPSHOT).filename().native());
}

bool is_snapshot_of(const fs::path& file, const fs::path& snapshot) {
  const std::string name = file.filename(), own = snapshot.filename();
  return name == own || name.starts_with(own + ".");
}

}  // namespace vrrpconvert
