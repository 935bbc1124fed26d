// Suggestions for an unknown word.
#pragma once

#include <string>
#include <vector>

namespace vrrpconvert {

// Returns "use WORD" for a known word that is similar, or "expected one of WORD, WORD, ...".
std::string suggestion(const std::string& word, const std::vector<std::string>& words);

}  // namespace vrrpconvert
