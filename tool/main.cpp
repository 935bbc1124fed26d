// vrrpconvert: the operator's tool over libconvertvrrp. Only this file prints errors and ends the process.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "tool/commands/commands.h"
#include "tool/store/store.h"
#include "tool/support/printable.h"
#include "tool/support/progress.h"

using namespace vrrpconvert;

namespace {

// Prints an error to standard error and, with --json, as an object to standard output.
int fail(const Error& error, JsonReport* report) {
  std::cout.exceptions(std::ios::goodbit);  // cerr flushes cout, which may fail again
  std::cerr << "vrrpconvert: " << printable(std::string_view(error.what())) << '\n';
  for (const std::string& line : error.more) std::cerr << printable(line) << '\n';
  if (report != nullptr) report->fail(error);
  std::cout.flush();
  return exit_of(error.reason);
}

// Returns whether the reader of standard output has exited.
bool is_output_unread() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

// Handles a failed write to standard output. If the reader of a pipe has exited, a command that only reads raises
// SIGPIPE, as it would by default.
int fail_to_write(Effect effect) {
  if (effect == Effect::changes) {
    return fail({Reason::unknown_outcome,
                 "standard output: cannot write; the report is incomplete" + advice_for(Reason::unknown_outcome)},
                nullptr);
  }
  if (is_output_unread()) {
    signal(SIGPIPE, SIG_DFL);
    raise(SIGPIPE);
  }
  return fail({Reason::io, "standard output: cannot write; the output is incomplete; nothing was changed"}, nullptr);
}

// Opens descriptors 0 to 2 if they are closed. Otherwise a store could get one of these numbers, and output would be
// written into it. Reads and writes of these descriptors fail as before.
void open_standard_files() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) < 0) (void)open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

void show_progress_on_terminal() {
  const char* terminal = getenv("TERM");
  if (isatty(STDERR_FILENO) != 1 || (terminal != nullptr && terminal == std::string("dumb"))) return;
  Progress::show_with([](std::string_view text) { std::cerr << text << std::flush; });
}

Exit run(int argc, char** argv, Choice& choice) {
  if (!parse_command_line(argc, argv, choice)) return exit_done;
  set_nonvolatile_root("/");
  const Exit code = choice.run();
  std::cout.flush();
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_files();
  std::ios::sync_with_stdio(false);  // faster for long reports; nothing here uses stdio
  signal(SIGPIPE, SIG_IGN);          // a write fails instead
  signal(SIGXFSZ, SIG_IGN);
  show_progress_on_terminal();
  Choice choice = {JsonReport(std::cout)};
  const bool as_json = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
  JsonReport* report = as_json ? &choice.report : nullptr;
  try {
    std::cout.exceptions(std::ios::badbit);
    return run(argc, argv, choice);
  } catch (const Error& error) {
    return fail(error, report);
  } catch (const std::ios_base::failure&) {
    return fail_to_write(choice.effect);
  } catch (const std::bad_alloc&) {
    const bool may_have_changed = choice.effect == Effect::changes;
    const Reason reason = may_have_changed ? Reason::unknown_outcome : Reason::no_memory;
    return fail({reason, (may_have_changed ? "out of memory: unknown outcome" : "out of memory; nothing was changed") +
                             advice_for(reason)},
                nullptr);
  } catch (const std::exception& error) {
    return fail({choice.effect == Effect::changes ? Reason::unknown_outcome : Reason::io, error.what()}, report);
  }
}
