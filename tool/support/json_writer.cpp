#include "tool/support/json_writer.h"

#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

bool is_plain(std::string_view text) {
  bool is_plain = true;
  for (const char letter : text) is_plain &= letter >= 0x20 && letter < 0x7f && letter != '"' && letter != '\\';
  return is_plain;
}

}  // namespace

void JsonWriter::open(char opener, char closer) {
  separate();
  text_ += opener;
  closers_ += closer;
  needs_comma_ = false;
}

void JsonWriter::close_down_to(size_t depth) {
  for (; closers_.size() > depth; closers_.pop_back()) text_ += closers_.back();
  needs_comma_ = depth > 0;
  if (depth == 0 && stream_ != nullptr) {
    *stream_ << text_ << '\n';
    text_.clear();
  }
}

void JsonWriter::key(std::string_view name) {
  separate();
  append_quoted(name);
  text_ += ':';
  needs_comma_ = false;
}

void JsonWriter::value(std::string_view text) {
  separate();
  append_quoted(text);
}

void JsonWriter::value_in_hex(std::span<const uint8> bytes) {
  separate();
  text_ += '"';
  append_hex(bytes, text_);
  text_ += '"';
}

void JsonWriter::value(const Json& content) {
  if (!content.is_array() || depth() != 1) return append(text_of(content));
  begin_list();
  for (const Json& item : content) value(item);
  end();
}

void JsonWriter::members(const Json& object) {
  for (const auto& [name, content] : object.items()) member(name, content);
}

void JsonWriter::separate() {
  if (stream_ != nullptr && text_.size() > long_text) {
    *stream_ << text_;
    text_.clear();
  }
  if (needs_comma_) text_ += ',';
  // Write one line per item of a report's list, because it may have one item per record.
  if (closers_.size() == 2 && closers_.back() == ']') text_ += '\n';
  needs_comma_ = true;
}

void JsonWriter::value(uint64_t number) {
  separate();
  append_number(number, text_);
}

void JsonWriter::append(std::string_view token) {
  separate();
  text_ += token;
}

void JsonWriter::append_quoted(std::string_view text) {
  if (is_plain(text)) {
    ((text_ += '"') += text) += '"';
  } else {
    text_ += text_of(Json(text));
  }
}

}  // namespace vrrpconvert
