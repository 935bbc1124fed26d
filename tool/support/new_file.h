// A new file that only its owner can read: what the tool exports holds authentication keys or names paths.
#pragma once

#include <string>
#include <string_view>

namespace vrrpconvert {

class NewFile {
 public:
  // Creates it with mode 0600. Throws Error, also if there is a file or a link of this name.
  explicit NewFile(const std::string& name);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();  // removes it unless it was kept

  // Both throw Error.
  void write(std::string_view text);
  void keep();  // makes its content durable

 private:
  [[noreturn]] void fail() const;

  std::string name_;
  int fd_;
};

}  // namespace vrrpconvert
