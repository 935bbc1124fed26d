// JSON values, whose members keep the order in which they were added, and structs as JSON objects.
#pragma once

#include <algorithm>
#include <concepts>
#include <istream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/types.h"

namespace vrrpconvert {

using Json = nlohmann::ordered_json;

// Bytes that are not UTF-8, as in a path, are replaced.
inline std::string text_of(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// An empty string is null.
inline Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

// Makes a struct an object with members of these names. Its empty strings are null.
#define JSON_MEMBERS(...)                                                     \
  static void members(auto& self, auto visit) {                               \
    NLOHMANN_JSON_EXPAND(NLOHMANN_JSON_PASTE(JSON_VISIT_MEMBER, __VA_ARGS__)) \
  }
#define JSON_VISIT_MEMBER(name) visit(#name, self.name);

template <typename Struct>
concept HasMembers = requires(Struct& self) { Struct::members(self, [](const char*, const auto&) {}); };

template <HasMembers Struct>
void to_json(Json& json, const Struct& from) {
  json = Json::object();
  Struct::members(from, [&json]<typename Value>(const char* name, const Value& value) {
    if constexpr (std::same_as<Value, std::string>) {
      json[name] = or_null(value);
    } else {
      json[name] = value;
    }
  });
}

// The JSON library casts a truth or a number to any other number silently: to_count does not.
inline uint32 to_count(const Json& json) {
  const uint64_t count = json.get_ref<const Json::number_unsigned_t&>();
  if (count > 0x7fffffff) throw std::out_of_range("a count");
  return static_cast<uint32>(count);
}

// Members that are missing or null keep their values. Throws std::exception for a member of another type, or a number
// that is no count.
template <HasMembers Struct>
void from_json(const Json& json, Struct& to) {
  Struct::members(to, [&json]<typename Value>(const char* name, Value& value) {
    const auto found = json.find(name);
    if (found == json.end() || found->is_null()) return;
    if constexpr (std::same_as<Value, bool>) {
      value = found->get_ref<const Json::boolean_t&>();
    } else if constexpr (std::unsigned_integral<Value>) {
      value = to_count(*found);
    } else {
      found->get_to(value);
    }
  });
}

// Parses an object of which only the members `names` are needed. The others may be as long as a store or, from another
// machine, anything; a nested value is refused while it is parsed, because every later step takes stack for each level.
// Throws std::exception.
template <typename Names>
Json parse_members(std::istream& stream, const Names& names) {
  constexpr int depth_max = 8;
  const auto is_kept = [&names](int depth, Json::parse_event_t event, const Json& parsed) {
    if (depth > depth_max) throw std::out_of_range("depth");
    if (depth != 1 || event != Json::parse_event_t::key) return true;
    return std::find(std::begin(names), std::end(names), parsed.get_ref<const std::string&>()) != std::end(names);
  };
  return Json::parse(stream, is_kept, false);
}

}  // namespace vrrpconvert
