#include "tool/store/access.h"

#include <sys/stat.h>

#include "tool/store/paths.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Returns the access problem of `directory`: other users can replace a store below it, or create a sidecar file for the
// store. Returns null if they cannot.
const char* problem_of(const struct stat& directory, uid_t owner, bool is_own) {
  const bool is_for_all = (directory.st_mode & S_IWOTH) != 0, is_for_group = (directory.st_mode & S_IWGRP) != 0;
  const bool is_sticky = (directory.st_mode & S_ISVTX) != 0;
  if (directory.st_uid != 0 && directory.st_uid != owner) {
    return "belongs to another user, who can replace the store; move the store to a directory that belongs to the "
           "store's owner";
  }
  if (is_for_all && !is_sticky) {
    return "is world-writable, so any user can replace the store; run chmod o-w";
  }
  if (is_for_group && !is_sticky) {
    return "is group-writable, so its group can replace the store; run chmod g-w";
  }
  // In a sticky directory other users cannot rename files, but they can create them.
  if ((is_for_all || is_for_group) && is_own) {
    return "other users can create a sidecar file (-journal, -wal) for the store; move the store to a directory that "
           "belongs to the store's owner";
  }
  return nullptr;
}

// Returns the problem of a store that does not belong to the owner of its directory; empty if the directory has a
// problem too.
std::string problem_of_owner(const struct stat& file, const struct stat& directory) {
  const bool is_wrong = directory.st_uid != 0 && directory.st_uid != file.st_uid;
  if (!is_wrong || problem_of(directory, directory.st_uid, true) != nullptr) return "";
  const std::string owner = std::to_string(directory.st_uid);
  return "belongs to user " + std::to_string(file.st_uid) + ", but its directory belongs to user " + owner +
         ", who can replace the store; run chown " + owner;
}

std::string problem_of_mode(const struct stat& file, const struct stat& directory) {
  const bool for_all = (file.st_mode & S_IROTH) != 0 && (directory.st_mode & S_IXOTH) != 0;
  const bool for_group = (file.st_mode & S_IRGRP) != 0 && (directory.st_mode & S_IXGRP) != 0;
  if (!for_all && !for_group) return "";
  return std::string(for_all ? "every user" : "its group") + " can read its authentication keys; run chmod go-r";
}

// Completes the command in a problem with the path of its file.
std::string with_path(const std::string& problem, const fs::path& path) {
  return problem.find("; run ") == std::string::npos ? problem : problem + " " + quoted_for_shell(path);
}

}  // namespace

std::vector<AccessProblem> access_problems(const fs::path& store, bool secrets) {
  std::vector<AccessProblem> problems;
  const fs::path own = existing_directory(store.parent_path());
  struct stat file, status;
  if (stat(store.c_str(), &file) != 0 || stat(own.c_str(), &status) != 0) return problems;
  if (secrets) problems.push_back({"the store", with_path(problem_of_mode(file, status), store)});
  problems.push_back({"the store", with_path(problem_of_owner(file, status), store)});
  const uid_t owner = problems.back().problem.empty() ? file.st_uid : status.st_uid;
  // Report only the lowest directory with a problem: the operator's system determines the directories above it.
  for (fs::path directory = own; stat(directory.c_str(), &status) == 0; directory = directory.parent_path()) {
    const char* problem = problem_of(status, owner, directory == own);
    if (problem != nullptr) {
      problems.push_back({"the directory " + directory.string(), with_path(problem, directory)});
    }
    if (problem != nullptr || directory == directory.parent_path()) break;
  }
  std::erase_if(problems, [](const AccessProblem& problem) { return problem.problem.empty(); });
  return problems;
}

}  // namespace vrrpconvert
