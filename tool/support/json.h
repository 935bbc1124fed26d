// JSON values that keep the order of their members, and structs as JSON objects.
#pragma once

#include <algorithm>
#include <concepts>
#include <istream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "platform/types.h"

namespace vrrpconvert {

using Json = nlohmann::ordered_json;

// Returns the text. Replaces bytes that are not UTF-8, for example in a path. Escapes U+0080 to U+009F, which terminals
// obey.
inline std::string text_of(const Json& json) {
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (size_t at = 0; (at = text.find('\xc2', at)) != std::string::npos; ++at) {
    const auto next = static_cast<uint8>(text[at + 1]);
    if (next < 0xa0) text.replace(at, 2, std::string("\\u00") + "89"[next >> 4 & 1] + "0123456789abcdef"[next & 15]);
  }
  return text;
}

// Returns null for an empty string.
inline Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

template <typename Value>
Json or_null(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

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

// The first `size_max` bytes of a stream. Reading more throws std::length_error.
class LimitedInput : public std::streambuf {
 public:
  LimitedInput(std::istream& source, size_t size_max) : source_(*source.rdbuf()), left_(size_max) {}

 protected:
  int_type underflow() override {
    const std::streamsize size = source_.sgetn(buffer_, sizeof buffer_);
    if (size <= 0) return traits_type::eof();
    if (static_cast<size_t>(size) > left_) throw std::length_error("too long");
    left_ -= static_cast<size_t>(size);
    setg(buffer_, buffer_, buffer_ + size);
    return traits_type::to_int_type(*buffer_);
  }

 private:
  std::streambuf& source_;
  size_t left_;
  char buffer_[16384];
};

inline constexpr size_t report_size_max = size_t{64} << 20;

// Parses an object and keeps only the members `names`. The input may be from another machine, so refuses what no report
// has: more than 64 MiB, values nested more than 8 levels deep (each level needs stack later), and objects or lists
// with more than 1,000 members or 20,000 values in what is kept (finding a member takes time in proportion). Throws
// std::exception.
template <typename Names>
Json parse_members(std::istream& stream, const Names& names) {
  constexpr int depth_max = 8, members_max = 1000, total_max = 20000;
  bool is_skipped = false;
  int total = 0;
  int counts[depth_max + 2] = {};
  const auto is_kept = [&](int depth, Json::parse_event_t event, const Json& parsed) {
    if (depth > depth_max) throw std::out_of_range("depth");
    if (depth == 0) return true;  // the whole object
    const bool is_key = event == Json::parse_event_t::key;
    if (depth == 1 && is_key) {
      const auto& name = parsed.get_ref<const std::string&>();
      is_skipped = std::find(std::begin(names), std::end(names), name) == std::end(names);
      return !is_skipped;
    }
    const bool begins = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
    if (begins) counts[depth + 1] = 0;
    const bool is_counted = !is_skipped && (is_key || begins || event == Json::parse_event_t::value);
    if (is_counted && (++counts[depth] > members_max || ++total > total_max)) throw std::out_of_range("members");
    return !is_skipped;
  };
  LimitedInput limited(stream, report_size_max);
  std::istream input(&limited);
  return Json::parse(input, is_kept, false);
}

}  // namespace vrrpconvert
