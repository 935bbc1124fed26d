#include "tool/conversion/restore_source.h"

#include <set>

#include "tool/conversion/backup.h"
#include "tool/store/files.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// What follows the name of `file` in the name of another file in its directory.
template <typename IsWanted>
void add_files(const fs::path& file, IsWanted is_wanted, std::set<fs::path>& found) {
  const std::string name = file.filename();
  for (const fs::path& other : files_in(file.parent_path().empty() ? "." : file.parent_path())) {
    const std::string other_name = other.filename();
    if (other_name.starts_with(name) && is_wanted(std::string_view(other_name).substr(name.size())))
      found.insert(other);
  }
}

bool is_numbered(std::string_view ending) { return ending.starts_with('.') && is_number(ending.substr(1)); }

}  // namespace

std::string RestoreSource::text() const {
  return file + ": " + (release.empty() ? "" : "of " + release + ", ") + records.text();
}

std::vector<RestoreSource> restore_sources(const fs::path& store, const fs::path& snapshot, const CountRecords& count) {
  std::set<fs::path> files;
  add_files(store, [](auto ending) { return ending.starts_with(".from-") || is_numbered(ending); }, files);
  if (!snapshot.empty()) add_files(snapshot, [](auto ending) { return ending.empty() || is_numbered(ending); }, files);
  std::vector<RestoreSource> sources;
  for (const fs::path& file : files) {
    try {
      if (const auto records = count(file)) sources.push_back({file, release_of_backup(file.filename()), *records});
    } catch (const Error& error) {
      if (error.exit_code == exit_interrupted) throw;
    }
  }
  return sources;
}

}  // namespace vrrpconvert
