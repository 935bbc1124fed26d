#include "tool/support/suggestion.h"

#include <algorithm>
#include <numeric>

namespace vrrpconvert {
namespace {

// Returns the edit distance of two words.
size_t distance(const std::string& one, const std::string& other) {
  std::vector<size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < one.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < other.size(); ++j) {
      const size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& words) {
  std::string near, all;
  for (const std::string& known : words) {
    if (distance(word, known) <= 2 && (near.empty() || distance(word, known) < distance(word, near))) near = known;
    all += (all.empty() ? "" : ", ") + known;
  }
  return near.empty() ? "expected one of " + all : "use " + near;
}

}  // namespace vrrpconvert
