#include "tool/conversion/backup.h"

#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char infix[] = ".from-";

}  // namespace

fs::path write_backup(const Store& original, const fs::path& store, const Release& from) {
  std::string release = from.text.substr(0, from.text.find(')'));
  release[release.find('(')] = '-';
  for (unsigned attempt = 1;; ++attempt) {
    const fs::path name = store.string() + infix + release + (attempt == 1 ? "" : "." + std::to_string(attempt));
    try {
      if (original.put_new(name)) return name;
    } catch (const Error& error) {
      throw Error(exit_io, std::string("no copy of the store can be kept, so nothing was changed: ") + error.what(),
                  error.exit_code == exit_unknown ? "" : error.reason, store.string());
    }
  }
}

std::string release_of_backup(const std::string& name) {
  const size_t at = name.rfind(infix);
  if (at == std::string::npos) return "";
  std::string release = name.substr(at + sizeof infix - 1);
  const size_t dash = release.find('-'), dot = release.rfind('.');
  if (dash == std::string::npos) return "";
  // That of a second backup, though it might be a part of 4.2(0.48).
  if (dot != std::string::npos && dot > dash && is_number(release.substr(dot + 1))) release.resize(dot);
  release[dash] = '(';
  release += ')';
  return is_release(release) ? release : "";
}

}  // namespace vrrpconvert
