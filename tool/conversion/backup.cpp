#include "tool/conversion/backup.h"

#include <set>

#include "tool/store/files.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char infix[] = ".from-";

// The release in the name of a backup, "4.2(1)"; empty for another name.
std::string release_in(const std::string& name) {
  const size_t at = name.rfind(infix);
  if (at == std::string::npos) return "";
  std::string release = name.substr(at + sizeof infix - 1);
  const size_t dash = release.find('-'), dot = release.rfind('.');
  if (dash == std::string::npos) return "";
  // The number of a second backup, though it might be a part of 4.2(0.48).
  if (dot != std::string::npos && dot > dash && is_number(release.substr(dot + 1))) release.resize(dot);
  release[dash] = '(';
  release += ')';
  return is_release(release) ? release : "";
}

// Adds the files next to `file` whose name is its name and an ending that is wanted.
template <typename IsWanted>
void add_files(const fs::path& file, IsWanted is_wanted, std::set<fs::path>& found) {
  const std::string name = file.filename();
  for (const fs::path& other : files_in(file.parent_path().empty() ? "." : file.parent_path())) {
    const std::string other_name = other.filename();
    if (other_name.starts_with(name) && is_wanted(std::string_view(other_name).substr(name.size()))) {
      found.insert(other);
    }
  }
}

bool is_numbered(std::string_view ending) { return ending.starts_with('.') && is_number(ending.substr(1)); }

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

std::string RestoreSource::text() const {
  return file + ": " + (release.empty() ? "" : "of " + release + ", ") + records.text();
}

std::vector<RestoreSource> restore_sources(const fs::path& store, const fs::path& snapshot, const CountRecords& count) {
  std::set<fs::path> files;
  add_files(store, [](auto ending) { return ending.starts_with(infix) || is_numbered(ending); }, files);
  if (!snapshot.empty()) add_files(snapshot, [](auto ending) { return ending.empty() || is_numbered(ending); }, files);
  std::vector<RestoreSource> sources;
  for (const fs::path& file : files) {
    try {
      if (const auto records = count(file)) sources.push_back({file, release_in(file.filename()), *records});
    } catch (const Error& error) {
      if (error.exit_code == exit_interrupted) throw;
    }
  }
  return sources;
}

}  // namespace vrrpconvert
