#include "tool/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/error.h"
#include "tool/interrupt.h"

namespace vrrpconvert {

LineReader::LineReader(const std::string& file)
    : name_(file == "-" ? "standard input" : file),
      fd_(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
  struct stat status;
  if (fd_ < 0 || fstat(fd_, &status) != 0 || S_ISDIR(status.st_mode)) {
    end_if_interrupted();
    throw Error(exit_bad_input, name_ + ": cannot be read; expected a file with one JSON record a line");
  }
  if (S_ISREG(status.st_mode)) size_ = static_cast<size_t>(status.st_size);
}

LineReader::~LineReader() {
  if (fd_ != STDIN_FILENO) close(fd_);
}

bool LineReader::next(std::string* line) {
  size_t end;
  while ((end = buffer_.find('\n', position_)) == std::string::npos) {
    if (fill()) continue;
    if (position_ == buffer_.size()) return false;
    end = buffer_.size();  // the last line has no line break
    break;
  }
  *line = buffer_.substr(position_, end - position_);
  position_ = end < buffer_.size() ? end + 1 : end;
  ++line_number_;
  return true;
}

bool LineReader::fill() {
  buffer_.erase(0, position_);
  position_ = 0;
  char chunk[65536];
  ssize_t size;
  do {
    end_if_interrupted();
    size = read(fd_, chunk, sizeof chunk);
  } while (size < 0 && errno == EINTR);
  if (size < 0) throw Error(exit_io, name_ + ": cannot be read to its end: " + strerror(errno));
  buffer_.append(chunk, static_cast<size_t>(size));
  bytes_read_ += static_cast<size_t>(size);
  return size > 0;
}

}  // namespace vrrpconvert
