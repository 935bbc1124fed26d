// Child processes.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace vrrpconvert {

// Call in a new child process: it is killed when its parent ends, which may have ended already.
inline void end_with_parent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
}

}  // namespace vrrpconvert
