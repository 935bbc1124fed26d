#include "tool/fleet/page.h"

#include <algorithm>
#include <iterator>
#include <kainjow/mustache.hpp>

#include "tool/conversion/summary.h"
#include "tool/support/name_list.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

namespace mustache = kainjow::mustache;

constexpr char page_template[] =
#include "page_template.h"
    ;

mustache::data data_of(const Json& value);

// A template cannot iterate over the members of an object. So an object whose names are data becomes a list of its
// values, each with its name.
mustache::data list_of_members(const Json& object) {
  mustache::data list(mustache::data::type::list);
  for (const auto& [name, value] : object.items()) {
    mustache::data item = value.is_object() ? data_of(value) : mustache::data("value", data_of(value));
    std::string word = name;
    std::replace(word.begin(), word.end(), ' ', '+');
    item.set("name", name);
    item.set("word", word);  // for links
    item.set("separator", list.is_empty_list() ? "" : ", ");
    list.push_back(item);
  }
  return list;
}

// Members whose names are data.
constexpr const char* lists[] = {"lost", "accepted", "defaults", "failing", "differences", "verdicts", "problems"};

// Adds the lists of an object, and "sections" with the ones that have a heading and items.
void add_lists(const Json& object, mustache::data& data) {
  mustache::data sections(mustache::data::type::list);
  for (const std::string name : lists) {
    if (!object.contains(name) || object[name].empty()) continue;
    const mustache::data items = list_of_members(object[name]);
    data.set(name, items);
    data.set("has_" + name, true);
    const std::string heading = heading_of(name);
    if (heading.empty()) continue;
    mustache::data section("heading", heading);
    section.set("items", items);
    sections.push_back(section);
  }
  data.set("sections", sections);
}

mustache::data data_of_object(const Json& object) {
  mustache::data data(mustache::data::type::object);
  for (const auto& [name, value] : object.items()) {
    const bool is_list =
        std::any_of(std::begin(lists), std::end(lists), [&](const char* list) { return name == list; });
    if (value.is_null() || is_list) continue;
    value.is_boolean() ? data.set(name, value.get<bool>()) : data.set(name, data_of(value));
  }
  add_lists(object, data);
  for (const char* count : {"device_count", "record_count", "count"}) {
    if (object.contains(count)) data.set("s", object[count] == 1 ? "" : "s");
  }
  if (object.contains("first")) {
    data.set("names", object.get<NameList>().text());
    data.set("is_empty", object["count"] == 0);
  }
  data.set("is_good", object.value("exit", 1) == 0);
  return data;
}

mustache::data data_of(const Json& value) {
  if (value.is_object()) return data_of_object(value);
  if (!value.is_array())
    return value.is_string() ? mustache::data(value.get<std::string>()) : mustache::data(value.dump());
  mustache::data list(mustache::data::type::list);
  size_t number = 0;
  for (const Json& item : value) {
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the value owns its list by a unique_ptr
    mustache::data data = data_of(item);
    if (item.is_object()) data.set("number", std::to_string(++number));  // for links
    list.push_back(data);
  }
  return list;
}

std::string escaped(const std::string& text) { return mustache::html_escape(printable(text)); }

}  // namespace

std::string page_of(const Json& fleet) {
  mustache::mustache page(page_template);
  page.set_custom_escape(escaped);
  return page.render(data_of(fleet));
}

}  // namespace vrrpconvert
