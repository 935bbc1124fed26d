// A file in memory that no other user can open.
#pragma once

#include <string>
#include <string_view>

namespace vrrpconvert {

class MemoryFile {
 public:
  // Creates the file with `content`. Throws Error.
  explicit MemoryFile(std::string_view content = {});
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();

  int descriptor() const { return fd_; }

  // Returns the path by which this process and its forked children can open the file.
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

}  // namespace vrrpconvert
