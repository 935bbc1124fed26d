#include "tool/conversion/backup.h"

#include <algorithm>
#include <iterator>

#include "platform/embedded/pss_embedded.h"
#include "tool/store/paths.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char infix[] = ".from-";
constexpr const char* sidecars[] = PSS_EMBEDDED_SIDECARS;

bool is_numbered(std::string_view ending) { return ending.starts_with('.') && is_number(ending.substr(1)); }

fs::path backup_name(const fs::path& store, const Release& from, unsigned attempt) {
  std::string release = from.text.substr(0, from.text.find(')'));
  release[release.find('(')] = '-';
  return store.string() + infix + release + (attempt == 1 ? "" : "." + std::to_string(attempt));
}

}  // namespace

fs::path free_backup_name(const fs::path& store, const Release& from) {
  unsigned attempt = 1;
  while (path_exists(backup_name(store, from, attempt))) ++attempt;
  return backup_name(store, from, attempt);
}

fs::path write_backup(const Store& original, const fs::path& store, const Release& from) {
  for (unsigned attempt = 1;; ++attempt) {
    const fs::path name = backup_name(store, from, attempt);
    if (path_exists(name)) continue;  // before the write and its syncs
    try {
      if (original.put_new(name)) return name;  // else a sidecar file has the name
    } catch (const Error& error) {
      const bool is_known = exit_of(error.reason) == exit_io;
      throw Error(is_known ? error.reason : Reason::io,
                  std::string("cannot write a backup, so nothing was changed: ") + error.what(), store.string());
    }
  }
}

std::string Backup::text() const {
  return file + ": " + (release.empty() ? "" : "of " + release + ", ") + counts.text();
}

std::string release_in_name(const fs::path& file) {
  const std::string name = file.filename();
  const size_t at = name.rfind(infix);
  if (at == std::string::npos) return "";
  std::string release = name.substr(at + sizeof infix - 1);
  const size_t dash = release.find('-'), dot = release.rfind('.');
  if (dash == std::string::npos) return "";
  // Drop the number of a second backup. It could also be a part of the release 4.2(0.48).
  if (dot != std::string::npos && dot > dash && is_number(release.substr(dot + 1))) release.resize(dot);
  release[dash] = '(';
  release += ')';
  return is_release(release) ? release : "";
}

std::vector<fs::path> backups_of(const fs::path& store) {
  const std::string name = store.filename();
  std::vector<fs::path> files = files_in(store.parent_path().empty() ? "." : store.parent_path());
  std::erase_if(files, [&name](const fs::path& file) {
    const std::string other = file.filename();
    const std::string_view ending = std::string_view(other).substr(std::min(name.size(), other.size()));
    const bool is_backup = ending.starts_with(infix) || is_numbered(ending);
    const bool is_sidecar = std::any_of(std::begin(sidecars), std::end(sidecars),
                                        [&other](const char* suffix) { return other.ends_with(suffix); });
    return !other.starts_with(name) || !is_backup || is_sidecar;
  });
  return files;
}

}  // namespace vrrpconvert
