#include "tool/support/interrupt.h"

#include <signal.h>
#include <unistd.h>

namespace vrrpconvert {
namespace {

volatile sig_atomic_t interrupted = 0;
const char* volatile file_to_remove = nullptr;

void handle_interrupts(void (*handler)(int)) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = handler;
    sigaction(number, &action, nullptr);
  }
}

void remove_and_end(int number) {
  if (file_to_remove != nullptr) unlink(file_to_remove);
  signal(number, SIG_DFL);
  raise(number);
}

}  // namespace

void remove_at_interrupt(const std::string& file) {
  file_to_remove = file.empty() ? nullptr : file.c_str();
  handle_interrupts(file.empty() ? SIG_DFL : remove_and_end);
}

void catch_interrupts() {
  handle_interrupts([](int) { interrupted = 1; });
}

bool was_interrupted() { return interrupted != 0; }

void ignore_interrupts() {
  handle_interrupts(SIG_IGN);
  interrupted = 0;
}

}  // namespace vrrpconvert
