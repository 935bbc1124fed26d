// Access of other users to a store, through its mode, its owner and its directories.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vrrpconvert {

struct AccessProblem {
  std::string object, problem;
};

// Returns how users other than root and the owner of the store can change it and, if it has `secrets`, read them.
// Throws Error if its directory cannot be found.
std::vector<AccessProblem> access_problems(const std::filesystem::path& store, bool secrets);

}  // namespace vrrpconvert
