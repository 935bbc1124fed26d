#include "platform/conformance/second_process.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace conformance {
namespace {

int requests = -1, responses = -1;  // pipes of the testing process

// Sends the size of the text, then the text. If the pipe is closed, ends the process.
void send(int fd, const std::string& text) {
  const auto size = static_cast<uint32>(text.size());
  std::string bytes(reinterpret_cast<const char*>(&size), sizeof size);
  bytes += text;
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t written = write(fd, bytes.data() + sent, bytes.size() - sent);
    if (written <= 0) _exit(3);
    sent += static_cast<size_t>(written);
  }
}

std::string receive(int fd, size_t size) {
  std::string bytes(size, '\0');
  for (size_t got = 0; got < size;) {
    const ssize_t count = read(fd, bytes.data() + got, size - got);
    if (count <= 0) _exit(0);
    got += static_cast<size_t>(count);
  }
  return bytes;
}

std::string receive(int fd) {
  uint32 size;
  memcpy(&size, receive(fd, sizeof size).data(), sizeof size);
  return receive(fd, size);
}

// Concatenated texts, each with its size.
std::string packed(const Bytes& text) {
  const auto size = static_cast<uint32>(text.size());
  return std::string(reinterpret_cast<const char*>(&size), sizeof size) + text;
}

Bytes unpack(std::string& texts) {
  uint32 size;
  memcpy(&size, texts.data(), sizeof size);
  const Bytes text = texts.substr(sizeof size, size);
  texts.erase(0, sizeof size + size);
  return text;
}

// Runs a request in a new process with the platform. Returns "+" and the result, or "-" and a reason.
std::string act(char what, std::string request) {
  const std::string url = unpack(request);
  const Table table(url);
  if (!table.is_open()) return "-" + url + " does not open";
  if (what == 's') {
    const Bytes key = unpack(request);
    const bool is_stored = table.put(key, unpack(request)).is_done();
    return table.close().is_done() && is_stored ? "+" : "-";
  }
  if (what == 'c' || what == 'e') {
    const int count = atoi(request.c_str());
    for (int i = 0; i < count; ++i) table.put("new" + std::to_string(i), Bytes(100, 'n'));
    for (const char* key : {"a", "ab", "b"}) table.remove(key);
    table.snapshot(url + "-snapshot");
    return "+";
  }
  const Records records = table.records();
  table.close().expect_done();
  std::string all = "+" + packed(failures);
  for (const auto& [key, value] : records) all += packed(key) + packed(value);
  return all;
}

[[noreturn]] void serve(const char* library, const char* create_command, int from, int to) {
  for (;;) {
    std::string request = receive(from);
    const char what = request[0];
    request.erase(0, 1);
    if (what == 'm') {
      send(to, system(("set -- '" + request + "'; " + create_command).c_str()) == 0 ? "+" : "-");
      continue;
    }
    const pid_t process = fork();
    if (process == 0) {
      if (!load(library)) _exit(1);
      const std::string response = act(what, request);
      const bool is_change = what == 'c' || what == 'e';
      if (!is_change) send(to, response);
      if (what == 'e') exit(response[0] == '+' ? 0 : 1);
      _exit(response[0] == '+' || !is_change ? 0 : 1);
    }
    int status = 1;
    waitpid(process, &status, 0);
    if (status != 0) send(to, "-the process ended, or did not open the store");
    if (status == 0 && (what == 'c' || what == 'e')) send(to, "+");  // only after the process has ended
  }
}

}  // namespace

bool start_second_process(const char* library, const char* create_command) {
  int request[2], response[2];
  if (pipe(request) != 0 || pipe(response) != 0) return false;
  const pid_t process = fork();
  if (process == 0) {
    close(request[1]);
    serve(library, create_command, request[0], response[1]);
  }
  close(request[0]), close(response[1]);
  requests = request[1], responses = response[0];
  return process > 0;
}

bool create(const std::string& url) {
  send(requests, "m" + url);
  return receive(responses) == "+";
}

void begin_to_store(const std::string& url, const Bytes& key, const Bytes& value) {
  send(requests, "s" + packed(url) + packed(key) + packed(value));
}

bool wait_for_store(int milliseconds) {
  pollfd ready = {responses, POLLIN, 0};
  return poll(&ready, 1, milliseconds) == 1;
}

bool has_stored() { return receive(responses) == "+"; }

void change_without_close(const std::string& url, size_t records, Ending ending) {
  send(requests, (ending == Ending::by_exit ? "e" : "c") + packed(url) + std::to_string(records));
  const std::string response = receive(responses);
  if (response != "+") fail("another process", "an open store", response.substr(1));
}

Records records_elsewhere(const std::string& url) {
  send(requests, "r" + packed(url));
  std::string response = receive(responses);
  const bool is_done = response[0] == '+';
  response.erase(0, 1);
  if (!is_done) return fail("another process", "the records of " + url, response), Records();
  failures += unpack(response);
  Records records;
  while (!response.empty()) {
    const Bytes key = unpack(response);
    records[key] = unpack(response);
  }
  return records;
}

}  // namespace conformance
