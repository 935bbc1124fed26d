#include "tool/conversion/ways_back.h"

#include <regex>
#include <set>

#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// The files beside `file` whose names are its own with an ending that `ending` matches, in order.
std::set<fs::path> files_beside(const fs::path& file, const char* ending) {
  const std::regex form(ending);
  const std::string name = file.filename();
  std::set<fs::path> found;
  for (const fs::path& one : files_in(file.parent_path().empty() ? "." : file.parent_path())) {
    const std::string other = one.filename();
    if (other.starts_with(name) && std::regex_match(other.substr(name.size()), form)) found.insert(one);
  }
  return found;
}

std::string release_in(const fs::path& file) {
  static const std::regex form(R"(.*\.from-([0-9]+\.[0-9]+)-([0-9A-Za-z.]+?)(\.[0-9]+)?)");
  std::smatch parts;
  const std::string name = file.filename();
  return std::regex_match(name, parts, form) ? parts[1].str() + "(" + parts[2].str() + ")" : "";
}

}  // namespace

std::string WayBack::text() const {
  return file.string() + ": " + (release.empty() ? "" : "of " + release + ", ") + counts.text();
}

std::vector<WayBack> ways_back(const fs::path& store, const fs::path& snapshot) {
  std::set<fs::path> files = files_beside(store, R"(\.(from-.*|[0-9]+))");
  if (!snapshot.empty()) files.merge(files_beside(snapshot, R"((\.[0-9]+)?)"));
  std::vector<WayBack> found;
  for (const fs::path& file : files) {
    try {
      found.push_back({file, release_in(file), count_records(Store(file, no_wait))});
    } catch (const Error& error) {
      if (error.exit_code == exit_interrupted) throw;  // anything else cannot be gone back to
    }
  }
  return found;
}

}  // namespace vrrpconvert
