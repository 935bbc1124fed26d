// Interrupts by the operator: SIGINT, SIGTERM and SIGHUP. By default they end the process at once, which is right while
// a command only reads. A signal that the parent ignores (nohup) stays ignored.
#pragma once

#include <string>

namespace vrrpconvert {

// Removes this file if an interrupt ends the process, until the next call. An empty path is no file. The string must
// exist as long.
void remove_at_interrupt(const std::string& file);

// From now on an interrupt does not end the process: was_interrupted() returns true.
void catch_interrupts();
bool was_interrupted();

// From now on interrupts are ignored, also a pending one: a change was begun, and its outcome must be reported.
void ignore_interrupts();

}  // namespace vrrpconvert
