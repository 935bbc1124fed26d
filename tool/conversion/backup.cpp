#include "tool/conversion/backup.h"

#include <algorithm>
#include <iterator>

#include "libconvertvrrp.h"
#include "platform/embedded/pss_embedded.h"
#include "tool/store/difference.h"
#include "tool/store/paths.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

constexpr char infix[] = ".from-";
constexpr const char* sidecars[] = PSS_EMBEDDED_SIDECARS;

bool is_numbered(std::string_view ending) { return ending.starts_with('.') && is_number(ending.substr(1)); }

// Returns the name without the suffix of a sidecar file.
std::string without_sidecar(std::string name) {
  for (const std::string_view suffix : sidecars) {
    if (name.ends_with(suffix)) name.resize(name.size() - suffix.size());
  }
  return name;
}

struct ParsedName {
  std::string release{};  // empty for any other name
  unsigned number = 0;
};

// Parses "STORE.from-4.2-1" (number 1) or "STORE.from-4.2-1.2".
ParsedName parse(const fs::path& file) {
  const std::string name = without_sidecar(file.filename());
  const size_t at = name.rfind(infix);
  if (at == std::string::npos) return {};
  std::string release = name.substr(at + sizeof infix - 1);
  const size_t dash = release.find('-'), dot = release.rfind('.');
  if (dash == std::string::npos) return {};
  unsigned number = 1;
  if (dot != std::string::npos && dot > dash && is_numbered(release.substr(dot)) && release.size() - dot < 10) {
    number = static_cast<unsigned>(std::stoul(release.substr(dot + 1)));
    release.resize(dot);
  }
  release[dash] = '(';
  release += ')';
  return is_release(release) ? ParsedName{release, number} : ParsedName{};
}

fs::path name_of(const fs::path& store, const Release& from, unsigned number) {
  std::string release = from.text.substr(0, from.text.find(')'));
  const size_t bracket = release.find('(');
  release[bracket] = '-';
  // After the dot of a release 4.2(0.48) every backup has a number, so that its last number is never the release's.
  const bool is_first = number == 1 && release.find('.', bracket) == std::string::npos;
  return store.string() + infix + release + (is_first ? "" : "." + std::to_string(number));
}

// Returns the highest number of a backup of `store`, or of a sidecar file of one.
unsigned highest_number(const fs::path& store) {
  unsigned highest = 0;
  for (const fs::path& file : files_in(store.has_parent_path() ? store.parent_path() : ".")) {
    if (!file.filename().native().starts_with(store.filename().native() + infix)) continue;
    highest = std::max(highest, parse(file).number);
  }
  return highest;
}

}  // namespace

fs::path next_backup_name(const fs::path& store, const Release& from) {
  return name_of(store, from, highest_number(store) + 1);
}

fs::path write_backup(const Store& original, const fs::path& store, const Release& from) {
  for (unsigned number = highest_number(store) + 1;; ++number) {
    const fs::path name = name_of(store, from, number);
    if (path_exists(name)) continue;  // another process wrote it meanwhile
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

std::vector<Backup> with_other_records(const std::vector<fs::path>& files, const Store& store) {
  std::vector<Backup> found = readable_backups(files, store);
  std::erase_if(found, [](const Backup& backup) { return backup.lacking_count == 0; });
  return found;
}

std::vector<fs::path> snapshots_in(const fs::path& directory) {
  std::vector<fs::path> files = files_in(directory);
  std::erase_if(files, [](const fs::path& file) {
    const std::string name = file.filename();
    const bool is_snapshot = name.starts_with(fs::path(VRRP_CNV_SNAPSHOT).filename().native()) ||
                             name.starts_with(fs::path(VRRP_CNV_STARTUP_SNAPSHOT).filename().native());
    return !is_snapshot || without_sidecar(name) != name;
  });
  return files;
}

std::vector<Backup> readable_backups(const std::vector<fs::path>& files, const Store& store,
                                     std::vector<std::string>* unreadable) {
  std::vector<Backup> found;
  for (const fs::path& file : files) {
    try {
      const Store backup(file, no_wait);
      found.push_back({file, release_in_name(file), count_records(backup)});
      for_each_difference(backup, store, [&found](const Difference& difference) {
        found.back().lacking_count += difference.after == nullptr ? 1 : 0;
      });
    } catch (const Error& error) {
      if (unreadable != nullptr) unreadable->emplace_back(error.what());
    }
  }
  return found;
}

std::string release_in_name(const fs::path& file) { return parse(file).release; }

bool has_backup_name(const fs::path& file) {
  const bool is_replaced = is_numbered(file.extension().native()) && path_exists(fs::path(file).replace_extension());
  return is_replaced || !release_in_name(file).empty();
}

fs::path last_backup_of(const fs::path& store) {
  std::vector<fs::path> last;
  for (const fs::path& file : backups_of(store)) {
    const unsigned number = parse(file).number, highest = last.empty() ? 0 : parse(last.front()).number;
    if (number == 0 || number < highest) continue;
    if (number > highest) last.clear();
    last.push_back(file);
  }
  if (last.size() > 1) {
    throw Error(Reason::bad_input, last[0].string() + " and " + last[1].filename().string() +
                                       " have the same number; choose one with --against");
  }
  return last.empty() ? fs::path() : last.front();
}

std::vector<fs::path> backups_of(const fs::path& store) {
  const std::string name = store.filename();
  std::vector<fs::path> files = files_in(store.parent_path().empty() ? "." : store.parent_path());
  std::erase_if(files, [&name](const fs::path& file) {
    const std::string other = file.filename();
    const std::string_view ending = std::string_view(other).substr(std::min(name.size(), other.size()));
    const bool is_backup = ending.starts_with(infix) || is_numbered(ending);
    return !other.starts_with(name) || !is_backup || without_sidecar(other) != other;
  });
  return files;
}

}  // namespace vrrpconvert
