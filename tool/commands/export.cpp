#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
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
  explicit NewFile(const std::string& name) : name_(name) {
    const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
      throw Error(errno == EEXIST ? exit_usage : exit_io, name + ": cannot be created: " + strerror(errno));
    }
    close(fd);  // the stream below writes and reports
    stream_.open(name);
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (!kept_) unlink(name_.c_str());
  }

  std::ostream& stream() { return stream_; }

  void keep() {
    if (!stream_.flush()) throw Error(exit_io, name_ + ": cannot be written to its end; the export was removed");
    kept_ = true;
  }

 private:
  std::string name_;
  std::ofstream stream_;
  bool kept_ = false;
};

void write_records(const Store& store, bool raw, std::ostream& stream) {
  size_t done = 0;
  Progress progress("Exporting", Progress::is_wanted() ? store.count() : 0);
  std::string lines;
  JsonWriter json(lines);
  store.for_each([&](const StoredRecord& record) {
    raw ? write_raw_record(json, record) : write_record(json, record);
    lines += '\n';
    if (lines.size() > JsonWriter::long_text) {
      stream << lines;
      lines.clear();
    }
    progress.show(++done);
  });
  stream << lines;
}

}  // namespace

Exit export_store(const ExportOptions& options) {
  const Store store(options.store);
  if (options.output.empty()) {
    write_records(store, options.raw, std::cout);
  } else {
    NewFile file(options.output);
    write_records(store, options.raw, file.stream());
    file.keep();
  }
  return exit_done;
}

}  // namespace vrrpconvert
