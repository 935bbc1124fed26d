// A new file that only its owner can read, because the tool's output contains authentication keys or paths.
#pragma once

#include <string>
#include <string_view>

namespace vrrpconvert {

class OutputFile {
 public:
  // Creates the file with mode 0600. Throws Error, also if the name exists.
  explicit OutputFile(const std::string& name);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();  // removes the file unless keep() was called; so does an interrupt

  // Both throw Error if they fail.
  void write(std::string_view text);
  void keep();  // syncs the content

 private:
  [[noreturn]] void fail() const;

  std::string name_;
  int fd_;
};

}  // namespace vrrpconvert
