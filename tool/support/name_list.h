// A number of records, and the names of the first ones.
#pragma once

#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tool/support/json.h"

namespace vrrpconvert {

struct NameList {
  static constexpr size_t shown_max = 3;

  size_t count = 0;
  std::vector<std::string> first{};

  // Counts a record. Calls `name` only if the list keeps the name.
  template <typename Name>
  void add(Name name) {
    if (++count <= shown_max) first.push_back(name());
  }

  // "VR 1 ipv4 on 0x10, VR 2 ipv4 on 0x10, VR 3 ipv4 on 0x10 and 4 more"
  std::string text() const {
    std::string text;
    for (const std::string& name : first) text += (text.empty() ? "" : ", ") + name;
    return count > first.size() ? text + " and " + std::to_string(count - first.size()) + " more" : text;
  }

  JSON_MEMBERS(count, first)
};

using NamesByWord = std::map<std::string, NameList>;  // by field or reason

// "bfd_peer_ip 2, forwarding_state 3"
inline std::string text_of_counts(const NamesByWord& names) {
  std::string text;
  for (const auto& [word, list] : names) text += (text.empty() ? "" : ", ") + word + " " + std::to_string(list.count);
  return text;
}

// Returns the heading and one line per word, "  bfd_peer_ip   2 records: ..."; empty if there are no words.
inline std::string text_of_lines(const std::string& heading, const NamesByWord& names) {
  std::ostringstream text;
  if (!names.empty()) text << heading << ":\n";
  for (const auto& [word, list] : names) {
    text << "  " << std::left << std::setw(27) << word << std::right << std::setw(8) << list.count
         << (list.count == 1 ? " record:  " : " records: ") << list.text() << '\n';
  }
  return text.str();
}

// "bfd_peer_ip,forwarding_state"
inline std::string words_of(const NamesByWord& names) {
  std::string text;
  for (const auto& [word, list] : names) text += (text.empty() ? "" : ",") + word;
  return text;
}

}  // namespace vrrpconvert
