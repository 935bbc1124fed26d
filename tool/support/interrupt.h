// The operator's Ctrl-C, or a terminal that went away: work ends at the next safe point, with everything as it was.
#pragma once

namespace vrrpconvert {

// From here on SIGINT, SIGTERM and SIGHUP are noted instead of ending the process, and a reader of the output that went
// away, or a limit of the file size, shows as a write that fails.
void note_interrupts();

bool was_interrupted();

// For work that has to be done whatever comes, telling what became of a store: forgets an interrupt that was noted, and
// those signals do nothing any more.
void ignore_interrupts();

// Throws Error when an interrupt was noted.
void end_if_interrupted();

}  // namespace vrrpconvert
