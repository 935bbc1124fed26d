// Interrupts by the operator: the work ends at the next safe point, and nothing is changed.
#pragma once

namespace vrrpconvert {

// Sets a flag on SIGINT, SIGTERM and SIGHUP from now on, instead of ending the process. Ignores SIGPIPE and SIGXFSZ, so
// that writes fail instead.
void catch_interrupts();

bool was_interrupted();

// Ignores these signals from now on and clears a pending interrupt, so that the final report is always printed.
void ignore_interrupts();

// Throws Error if an interrupt is pending.
void end_if_interrupted();

}  // namespace vrrpconvert
