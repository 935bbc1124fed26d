// Names of records, counted: a person reads the first ones.
#ifndef TOOL_SUPPORT_NAME_LIST_H
#define TOOL_SUPPORT_NAME_LIST_H

#include <map>
#include <string>
#include <vector>

#include "tool/support/json_writer.h"

namespace vrrpconvert {

struct NameList {
  static constexpr size_t shown_max = 3;

  size_t count = 0;
  std::vector<std::string> first{};

  void add(const std::string& name) {
    if (++count <= shown_max) first.push_back(name);
  }

  // "VR 1 ipv4 on 0x10, VR 2 ipv4 on 0x10, VR 3 ipv4 on 0x10 and 4 more"
  std::string text() const {
    std::string text;
    for (const std::string& name : first) text += (text.empty() ? "" : ", ") + name;
    return count > first.size() ? text + " and " + std::to_string(count - first.size()) + " more" : text;
  }

  void write(JsonWriter& json) const {
    json.begin_object();
    json.member("records", count);
    json.key("first");
    json.begin_list();
    for (const std::string& name : first) json.value(name);
    json.end();
    json.end();
  }
};

// Writes lists by field as an object.
inline void write_names(JsonWriter& json, const char* name, const std::map<std::string, NameList>& fields) {
  json.key(name);
  json.begin_object();
  for (const auto& [field, names] : fields) {
    json.key(field);
    names.write(json);
  }
  json.end();
}

}  // namespace vrrpconvert

#endif
