// Lines of a file or of standard input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vrrpconvert {

enum class LongLine { is_error, is_split };  // a line of more than 4 MiB

class LineReader {
 public:
  // "-" is standard input. Throws Error if the file cannot be read.
  explicit LineReader(const std::string& file, LongLine long_line = LongLine::is_error);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // Reads the next line, without its line break; it is valid until the next call. Returns false at the end. Throws
  // Error if the input fails or a line is longer than 4 MiB; with LongLine::is_split, returns such a line in parts.
  bool next(std::string_view& line);

  // Returns whether the line that was read last ends in a line break.
  bool has_break() const { return has_break_; }

  const std::string& name() const { return name_; }
  size_t line_number() const { return line_number_; }
  size_t bytes_read() const { return bytes_read_; }
  size_t size() const { return size_; }  // of the whole input in bytes; 0 if unknown

 private:
  bool fill();

  std::string name_;
  LongLine long_line_;
  bool has_break_ = false;
  int fd_;
  size_t size_ = 0;
  std::vector<char> buffer_;
  size_t start_ = 0, end_ = 0;  // of the bytes that are read but not returned yet
  size_t line_number_ = 0;
  size_t bytes_read_ = 0;
};

}  // namespace vrrpconvert
