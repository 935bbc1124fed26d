#include "tool/support/interrupt.h"

#include <signal.h>

#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

volatile sig_atomic_t interrupted = 0;

}  // namespace

void catch_interrupts() {
  struct sigaction action = {};
  action.sa_handler = [](int) { interrupted = 1; };
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction inherited;
  const bool has_nohup = sigaction(SIGHUP, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN;
  if (!has_nohup) sigaction(SIGHUP, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool was_interrupted() { return interrupted != 0; }

void ignore_interrupts() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_IGN);
  interrupted = 0;
}

void end_if_interrupted() {
  if (was_interrupted()) throw Error(exit_interrupted, "interrupted; nothing was changed");
}

}  // namespace vrrpconvert
