#include "tests/trace_log.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

int TraceLog::opens, TraceLog::open_flags, TraceLog::writes, TraceLog::syncs;
bool TraceLog::broken;
std::vector<std::string> TraceLog::events;

namespace {

std::string log_file;  // path that replaces the library's log
int log_fd = -1;

bool line_is_to_be_synced;

// The beginnings of the messages of each trace point so far: two points must not have the same line number.
std::map<std::string, std::string> trace_points;

void check_trace_point(const std::string& operation, int line, std::string message) {
  if (operation.starts_with("vrrp_dbg_print")) return;  // a printer has one trace point for all fields
  std::erase_if(message, [](char letter) { return isdigit(static_cast<unsigned char>(letter)) != 0; });
  const std::string start = message.substr(0, 12);
  EXPECT_EQ(trace_points.try_emplace(operation + ":" + std::to_string(line), start).first->second, start) << operation;
}

// Removes time stamp and line number from a trace line.
std::string short_line(const std::string& line) {
  char operation[100] = "";
  int length = 0, number = 0;
  sscanf(line.c_str(), "<%*24[^<>]> %99[a-z0-9_]:%d%n", operation, &number, &length);
  if (length > 0) check_trace_point(operation, number, line.substr(static_cast<size_t>(length) + 1));
  EXPECT_EQ(line.substr(static_cast<size_t>(length), 1), length > 0 ? " " : "a line with a prefix") << line;
  return operation + line.substr(static_cast<size_t>(length));
}

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  static const auto real_open = real<int (*)(const char*, int, ...)>("open");
  if (strcmp(path, "/bootflash/libconvertvrrpmgr.log") != 0) return real_open(path, flags, mode);
  ++TraceLog::opens;
  TraceLog::open_flags = flags;
  log_fd = real_open(log_file.c_str(), flags, mode);
  return log_fd;
}

extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
  static const auto real_write = real<ssize_t (*)(int, const void*, size_t)>("write");
  if (fd != log_fd || fd == -1) return real_write(fd, bytes, size);
  ++TraceLog::writes;
  const std::string line(static_cast<const char*>(bytes), size);
  if (line.find('\n') == size - 1) TraceLog::events.push_back(short_line(line.substr(0, size - 1)));
  line_is_to_be_synced = true;
  if (!TraceLog::broken) return real_write(fd, bytes, size);
  errno = EIO;
  return -1;
}

extern "C" int fsync(int fd) {
  static const auto real_fsync = real<int (*)(int)>("fsync");
  if (fd != log_fd || fd == -1) return real_fsync(fd);
  ++TraceLog::syncs;
  if (!line_is_to_be_synced) TraceLog::events.push_back("a sync without a line");
  line_is_to_be_synced = false;
  if (!TraceLog::broken) return real_fsync(fd);
  errno = EIO;
  return -1;
}

TraceLog::TraceLog() {
  std::string name = std::filesystem::temp_directory_path() / "convertvrrp-test-XXXXXX";
  directory_ = mkdtemp(name.data());
  log_file = directory_ + "/trace.log";
  opens = open_flags = writes = syncs = 0;
  broken = line_is_to_be_synced = false;
  events.clear();
}

TraceLog::~TraceLog() {
  if (log_fd != -1) close(log_fd);
  log_fd = -1;
  std::filesystem::remove_all(directory_);
}

void TraceLog::create() { std::ofstream stream(log_file); }

void TraceLog::remove() { std::filesystem::remove(log_file); }

bool TraceLog::exists() const { return std::filesystem::exists(log_file); }

std::string TraceLog::text() const {
  std::ostringstream text;
  text << std::ifstream(log_file).rdbuf();
  return text.str();
}

std::vector<std::string> TraceLog::lines() const {
  std::vector<std::string> lines;
  std::istringstream stream(text());
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(short_line(line) + (stream.eof() ? " without a line break" : ""));
  }
  return lines;
}
