#include "tool/support/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

constexpr size_t line_max = size_t{4} << 20;

}  // namespace

LineReader::LineReader(const std::string& file, LongLine long_line)
    : name_(file == "-" ? "standard input" : file),
      long_line_(long_line),
      fd_(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)),
      buffer_(line_max + 1) {
  struct stat status;
  if (fd_ < 0 || fstat(fd_, &status) != 0 || S_ISDIR(status.st_mode)) {
    const int reason = fd_ < 0 ? errno : EISDIR;
    throw Error(Reason::bad_input, name_ + ": cannot open: " + strerror(reason) + "; expected a text file");
  }
  if (S_ISREG(status.st_mode)) size_ = static_cast<size_t>(status.st_size);
}

LineReader::~LineReader() {
  if (fd_ != STDIN_FILENO) close(fd_);
}

// Does not use getline(3), which has no limit: input without a line break would use all memory.
bool LineReader::next(std::string_view& line) {
  const char *begin, *found;
  size_t searched = 0;
  do {
    begin = buffer_.data() + start_;
    found = static_cast<const char*>(memchr(begin + searched, '\n', end_ - start_ - searched));
    searched = end_ - start_;
  } while (found == nullptr && fill());
  if (found == nullptr && searched == 0) return false;
  ++line_number_;
  has_break_ = found != nullptr;
  const size_t length = has_break_ ? static_cast<size_t>(found - begin) : searched;
  if (length > line_max && long_line_ == LongLine::is_error) {
    throw Error(Reason::bad_input,
                name_ + ":" + std::to_string(line_number_) + ": the line is longer than 4 MiB; expected a text file");
  }
  line = {begin, length};
  start_ += std::min(length + 1, searched);
  return true;
}

// Reads more input into the buffer. Returns false at the end of the input, and if the buffer is full.
bool LineReader::fill() {
  memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
  end_ -= start_;
  start_ = 0;
  if (end_ == buffer_.size()) return false;
  ssize_t size;
  do {
    size = read(fd_, buffer_.data() + end_, std::min<size_t>(buffer_.size() - end_, 65536));
  } while (size < 0 && errno == EINTR);
  if (size < 0) throw Error(Reason::io, name_ + ": cannot read: " + strerror(errno));
  end_ += static_cast<size_t>(size);
  bytes_read_ += static_cast<size_t>(size);
  return size > 0;
}

}  // namespace vrrpconvert
