// JSON as a stream, for lists with one item per record.
#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "platform/types.h"
#include "tool/support/json.h"

namespace vrrpconvert {

class JsonWriter {
 public:
  static constexpr size_t long_text = 65536;

  // Appends to `text`. If `stream` is not null, writes `text` to it whenever it is long.
  explicit JsonWriter(std::string& text, std::ostream* stream = nullptr) : text_(text), stream_(stream) {}

  void begin_object() { open('{', '}'); }
  void begin_list() { open('[', ']'); }
  void end() { close_down_to(depth() - 1); }
  void close_down_to(size_t depth);
  size_t depth() const { return closers_.size(); }

  void key(std::string_view name);

  void value(std::string_view text);
  void value(const std::string& text) { value(std::string_view(text)); }
  void value(const char* text) { value(std::string_view(text)); }
  void value(const Json& content);
  void value_in_hex(std::span<const uint8> bytes);
  void value(bool truth) { append(truth ? "true" : "false"); }
  void value(std::nullptr_t) { append("null"); }
  void value(uint64_t number);
  void value(uint32 number) { value(uint64_t{number}); }

  template <typename Value>
  void member(std::string_view name, const Value& content) {
    key(name);
    value(content);
  }
  // Writes all members of `object`.
  void members(const Json& object);

 private:
  void open(char opener, char closer);
  void separate();
  void append(std::string_view token);
  void append_quoted(std::string_view text);

  std::string& text_;
  std::ostream* stream_;
  std::string closers_;       // closing brackets of the open objects and lists
  bool needs_comma_ = false;  // before the next item
};

}  // namespace vrrpconvert
