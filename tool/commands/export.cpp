#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>

#include "tool/commands/commands.h"
#include "tool/record/record_text.h"
#include "tool/store/store.h"
#include "tool/support/progress.h"

namespace vrrpconvert {
namespace {

// A new file with mode 0600, because it holds authentication keys. Unless it is kept, it is removed again.
class NewFile {
 public:
  explicit NewFile(const std::string& name)
      : name_(name), fd_(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    if (fd_ < 0) {
      throw Error(errno == EEXIST ? exit_usage : exit_io, name + ": cannot be created: " + strerror(errno));
    }
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (fd_ < 0) return;
    unlink(name_.c_str());
    close(fd_);
  }

  void write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t written = ::write(fd_, text.data(), text.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) fail();
      text.remove_prefix(static_cast<size_t>(written));
    }
  }

  void keep() {
    if (fsync(fd_) != 0 || close(fd_) != 0) fail();
    fd_ = -1;
  }

 private:
  [[noreturn]] void fail() const {
    throw Error(exit_io, name_ + ": cannot be written to its end: " + strerror(errno) + "; the export was removed");
  }

  std::string name_;
  int fd_;
};

void write_records(const Store& store, bool raw, const std::function<void(std::string_view)>& write) {
  size_t done = 0;
  Progress progress("Exporting", Progress::is_wanted() ? store.count() : 0);
  std::string lines;
  JsonWriter json(lines);
  store.for_each([&](const StoredRecord& record) {
    raw ? write_raw_record(json, record) : write_record(json, record);
    lines += '\n';
    if (lines.size() > JsonWriter::long_text) {
      write(lines);
      lines.clear();
    }
    progress.show(++done);
  });
  write(lines);
}

}  // namespace

Exit export_store(const ExportOptions& options) {
  const Store copy(options.store);
  if (options.output.empty()) {
    write_records(copy, options.raw, [](std::string_view text) { std::cout << text; });
  } else {
    NewFile file(options.output);
    write_records(copy, options.raw, [&file](std::string_view text) { file.write(text); });
    file.keep();
  }
  return exit_done;
}

}  // namespace vrrpconvert
