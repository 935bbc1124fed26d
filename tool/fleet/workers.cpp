#include "tool/fleet/workers.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tool/conversion/sequence.h"
#include "tool/support/process.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Reads or writes all of `size` bytes. Returns false if the other process has ended.
bool receive_all(int socket, void* bytes, size_t size) {
  return size == 0 || recv(socket, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

bool send_all(int socket, const void* bytes, size_t size) {
  const auto* next = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t sent = send(socket, next, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    next += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

// Longest time in seconds for a dry run: one second per MiB, and a minute for a slow disk or a locked store.
unsigned longest_time(const fs::path& store) {
  std::error_code error;
  const uintmax_t size = fs::file_size(store, error);
  return 60 + (error ? 0 : static_cast<unsigned>(size >> 20));
}

DryRunReport report_of(const Conversion& fleet, const fs::path& store) {
  try {
    Conversion conversion = fleet;
    conversion.select(store.parent_path(), store.parent_path());
    return Sequence(conversion, Place::own_process).foresee();
  } catch (const Error& error) {
    DryRunReport report;
    report.store = error.store;
    report.ending = error.ending();
    return report;
  }
}

// Returns the report as compact bytes that keep every path as it is.
std::vector<uint8> bytes_of(const DryRunReport& report) {
  Json json = report;
  json.update(report.ending);
  return Json::to_cbor(json);
}

// Reports each store whose number the parent sends. noexcept: a lack of memory ends the worker.
[[noreturn]] void work(int socket, const Conversion& fleet, const std::vector<Input>& inputs, pid_t parent) noexcept {
  end_with_parent(parent);
  Progress::show_with(nullptr);
  signal(SIGALRM, SIG_DFL);
  for (size_t number; receive_all(socket, &number, sizeof number);) {
    alarm(longest_time(inputs[number].file));
    const std::vector<uint8> bytes = bytes_of(report_of(fleet, inputs[number].file));
    alarm(0);
    const size_t size = bytes.size();
    if (!send_all(socket, &size, sizeof size) || !send_all(socket, bytes.data(), size)) break;
  }
  _exit(0);
}

std::string text_of_end(int status, const fs::path& store) {
  if (!WIFSIGNALED(status)) return "the dry run ended before it returned a report";
  if (WTERMSIG(status) != SIGALRM) return "the dry run ended by signal " + std::to_string(WTERMSIG(status));
  return "the dry run did not end within " + std::to_string(longest_time(store)) + " seconds";
}

// A worker process and the socket to it. The destructor ends the process.
class Worker {
 public:
  // Throws Error if there are no resources for a process.
  Worker(const Conversion& fleet, const std::vector<Input>& inputs) {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) fail();
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
      close(sockets[0]);
      work(sockets[1], fleet, inputs, parent);
    }
    const int reason = errno;
    close(sockets[1]);
    if (process_ > 0) {
      socket_ = sockets[0];
      return;
    }
    close(sockets[0]);
    errno = reason;
    fail();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    close(socket_);
    if (process_ <= 0) return;
    kill(process_, SIGKILL);  // it is idle; later workers have a copy of its socket, so a close would not end it
    (void)wait_for();
  }

  // A worker that has ended is noticed when its report is received.
  void begin(size_t number) {
    number_ = number;
    (void)send_all(socket_, &number, sizeof number);
  }

  // Receives the report of the device that was begun. Returns false if the worker has ended.
  bool receive(std::vector<uint8>& bytes) {
    size_t size = 0;
    if (!receive_all(socket_, &size, sizeof size)) return false;
    bytes.resize(size);
    return receive_all(socket_, bytes.data(), size);
  }

  // Waits for the end of the process. Returns its status.
  int wait_for() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) continue;
    process_ = 0;
    return status;
  }

  int socket() const { return socket_; }
  size_t number() const { return number_; }

 private:
  [[noreturn]] static void fail() {
    throw Error(Reason::io, std::string("cannot start a process for dry runs: ") + strerror(errno));
  }

  pid_t process_ = 0;
  int socket_ = -1;
  size_t number_ = 0;
};

class Workers {
 public:
  Workers(const Conversion& fleet, const std::vector<Input>& inputs)
      : fleet_(fleet), inputs_(inputs), progress_("Devices", inputs.size()) {
    signal(SIGCHLD, SIG_DFL);  // if the parent left it ignored, waitpid() would fail
    for (const Input& input : inputs) devices_.push_back(device_without_report(input.name, input.ending));
  }

  std::vector<Device> run(unsigned jobs) {
    while (workers_.size() < jobs && begin_next()) continue;
    while (!workers_.empty()) receive_some();
    return std::move(devices_);
  }

 private:
  // Returns whether there was another store to begin.
  bool begin_next(std::unique_ptr<Worker> worker = nullptr) {
    while (next_ < inputs_.size() && inputs_[next_].file.empty()) ++next_;
    if (next_ == inputs_.size()) return false;
    try {
      if (worker == nullptr) worker = std::make_unique<Worker>(fleet_, inputs_);
    } catch (const Error&) {
      if (workers_.empty()) throw;
      return false;  // the other workers do the rest
    }
    worker->begin(next_++);
    workers_.push_back(std::move(worker));
    return true;
  }

  void receive_some() {
    std::vector<pollfd> sockets;
    for (const auto& worker : workers_) sockets.push_back({worker->socket(), POLLIN, 0});
    if (poll(sockets.data(), sockets.size(), -1) < 0) return;  // by a signal
    std::vector<std::unique_ptr<Worker>> waiting = std::move(workers_);
    workers_.clear();
    for (size_t i = 0; i < waiting.size(); ++i) {
      if (sockets[i].revents == 0) workers_.push_back(std::move(waiting[i]));
    }
    for (std::unique_ptr<Worker>& worker : waiting) {
      if (worker != nullptr) take_report(std::move(worker));
    }
  }

  void take_report(std::unique_ptr<Worker> worker) {
    Device& device = devices_[worker->number()];
    std::vector<uint8> bytes;
    if (worker->receive(bytes)) {
      const Json json = Json::from_cbor(bytes);
      device.report = json.get<DryRunReport>();
      device.report.ending = json.get<Ending>();
      device.take_permissions(fleet_.request.accepted);
    } else {
      device.report.ending = {Reason::not_examined, text_of_end(worker->wait_for(), inputs_[worker->number()].file)};
      worker.reset();
    }
    progress_.show(++done_);
    begin_next(std::move(worker));
  }

  const Conversion& fleet_;
  const std::vector<Input>& inputs_;
  Progress progress_;
  std::vector<Device> devices_;
  std::vector<std::unique_ptr<Worker>> workers_;
  size_t next_ = 0, done_ = 0;
};

}  // namespace

std::vector<Device> run_dry_runs(const Conversion& conversion, const std::vector<Input>& inputs, unsigned jobs) {
  return Workers(conversion, inputs).run(jobs);
}

}  // namespace vrrpconvert
