// JSON values that keep the order of their members, and structs as JSON objects.
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

// Returns the text. Replaces bytes that are not UTF-8, for example in a path.
inline std::string text_of(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Returns null for an empty string.
inline Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

// Declares the members of a struct's JSON object. Empty strings are null.
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

// Converts without the JSON library's silent casts between booleans and numbers.
inline uint32 to_count(const Json& json) {
  const uint64_t count = json.get_ref<const Json::number_unsigned_t&>();
  if (count > 0x7fffffff) throw std::out_of_range("a count");
  return static_cast<uint32>(count);
}

// Reads a struct. Members that are missing or null keep their values. Throws std::exception if a member has another
// type, or a count is not a number from 0 to 2147483647.
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

// Parses an object and keeps only the members `names`. The input may be from another machine: refuses values nested
// more than 8 levels deep while it parses, because each level needs stack later. Throws std::exception.
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
