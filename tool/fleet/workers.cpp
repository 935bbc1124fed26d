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
#include <new>
#include <set>

#include "tool/conversion/sequence.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"
#include "tool/support/process.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Read or write all of `size` bytes. Return false if that fails, for example because the other process has ended.
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
  DryRunReport report;
  try {
    Conversion conversion = fleet;
    conversion.select(store.parent_path(), store.parent_path());
    return Sequence(conversion, Place::own_process).foresee();
  } catch (const Error& error) {
    report.store = error.store;
    report.ending = error.ending();
  } catch (const std::bad_alloc&) {
    report.ending = {Reason::no_memory, "out of memory" + advice_for(Reason::no_memory)};
  } catch (const std::exception& error) {
    report.ending = {Reason::io, error.what()};
  }
  return report;
}

// Returns the report as compact bytes that keep every path as it is.
std::vector<uint8> bytes_of(const DryRunReport& report) {
  Json json = report;
  json.update(report.ending);
  return Json::to_cbor(json);
}

constexpr int own_socket = 3;  // of a worker: its only descriptor besides 0 to 2

// Reports each store whose number the parent sends. noexcept: a lack of memory ends the worker.
// NOLINTNEXTLINE(bugprone-exception-escape): as intended
[[noreturn]] void work(const Conversion& fleet, const std::vector<Input>& inputs, pid_t parent) noexcept {
  end_with_parent(parent);
  Progress::show_with(nullptr);
  static const std::string none;
  remove_at_interrupt(none);  // the page belongs to the parent
  signal(SIGALRM, SIG_DFL);
  for (size_t number; receive_all(own_socket, &number, sizeof number);) {
    alarm(longest_time(inputs[number].file));
    const std::vector<uint8> bytes = bytes_of(report_of(fleet, inputs[number].file));
    alarm(0);
    const size_t size = bytes.size();
    if (!send_all(own_socket, &size, sizeof size) || !send_all(own_socket, bytes.data(), size)) break;
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
      // Without the sockets of the other workers, which would use up the descriptors.
      if (dup2(sockets[1], own_socket) != own_socket || close_range(own_socket + 1, ~0U, 0) != 0) _exit(1);
      work(fleet, inputs, parent);
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
    if (process_ > 0) (void)end();
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

  // Ends the process, unless it has ended. Returns its status.
  int end() {
    int status = 0;
    kill(process_, SIGKILL);  // ignored if it has ended: its status remains
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
    for (const Input& input : inputs) {
      devices_.push_back(device_without_report(input.name, input.ending));
      if (input.file.empty()) ++done_;
    }
  }

  std::vector<Device> run(unsigned jobs) {
    while (workers_.size() < jobs && begin_next()) continue;
    while (!workers_.empty()) receive_one();
    return std::move(devices_);
  }

 private:
  // Returns whether there was another store to begin.
  bool begin_next(std::unique_ptr<Worker> worker = nullptr) {
    while (next_ < inputs_.size() && inputs_[next_].file.empty()) ++next_;
    if (next_ == inputs_.size() || !begin(next_, std::move(worker))) return false;
    ++next_;
    return true;
  }

  // Begins a store in this worker, or in a new one. Returns false if the other workers have to do it.
  bool begin(size_t number, std::unique_ptr<Worker> worker) {
    try {
      if (worker == nullptr) worker = std::make_unique<Worker>(fleet_, inputs_);
    } catch (const Error&) {
      if (workers_.empty()) throw;
      return false;
    }
    worker->begin(number);
    workers_.push_back(std::move(worker));
    return true;
  }

  void receive_one() {
    std::vector<pollfd> sockets;
    sockets.reserve(workers_.size());
    for (const auto& worker : workers_) sockets.push_back({worker->socket(), POLLIN, 0});
    if (poll(sockets.data(), sockets.size(), -1) < 0) return;  // by a signal
    const auto ready = std::find_if(sockets.begin(), sockets.end(), [](const pollfd& one) { return one.revents != 0; });
    const auto worker = workers_.begin() + (ready - sockets.begin());
    std::unique_ptr<Worker> taken = std::move(*worker);
    workers_.erase(worker);
    take_report(std::move(taken));
  }

  void take_report(std::unique_ptr<Worker> worker) {
    const size_t number = worker->number();
    std::vector<uint8> bytes;
    if (worker->receive(bytes)) {
      Device& device = devices_[number];
      const Json json = Json::from_cbor(bytes);
      device.report = json.get<DryRunReport>();
      device.report.ending = json.get<Ending>();
      device.take_permissions(fleet_.request.accepted);
    } else {
      const int status = worker->end();
      worker.reset();
      // The time limit also runs while the whole fleet is stopped, so an expired one is tried once more.
      const bool is_late = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
      if (is_late && late_.insert(number).second && begin(number, nullptr)) return;
      devices_[number].report.ending = {Reason::not_examined, text_of_end(status, inputs_[number].file)};
    }
    progress_.show(++done_);
    begin_next(std::move(worker));
  }

  const Conversion& fleet_;
  const std::vector<Input>& inputs_;
  Progress progress_;
  std::vector<Device> devices_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::set<size_t> late_;  // numbers of stores whose time limit expired
  size_t next_ = 0, done_ = 0;
};

}  // namespace

std::vector<Device> run_dry_runs(const Conversion& conversion, const std::vector<Input>& inputs, unsigned jobs) {
  return Workers(conversion, inputs).run(jobs);
}

}  // namespace vrrpconvert
