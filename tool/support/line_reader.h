// Lines of a file or of standard input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vrrpconvert {

class LineReader {
 public:
  // "-" is standard input. Throws Error if the file cannot be read.
  explicit LineReader(const std::string& file);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // Reads the next line, without its line break; it is valid until the next call. Returns false at the end. Throws
  // Error if the input fails or a line is longer than 4 MiB.
  bool next(std::string_view& line);

  const std::string& name() const { return name_; }
  size_t line_number() const { return line_number_; }
  size_t bytes_read() const { return bytes_read_; }
  size_t size() const { return size_; }  // of the whole input in bytes; 0 if unknown

 private:
  bool fill();

  std::string name_;
  int fd_;
  size_t size_ = 0;
  std::vector<char> buffer_;
  size_t start_ = 0, end_ = 0;  // of the bytes that are read but not returned yet
  size_t line_number_ = 0;
  size_t bytes_read_ = 0;
};

}  // namespace vrrpconvert
