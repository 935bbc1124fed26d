// The trace log, the library's only diagnostic output: one line per step, synced before the next step. The log is an
// append-only text file that the operator creates. Without it the library does the same work and writes nothing. A line
// is "<time> operation:line message". State: trace_fd, debug_str and tstamp (libconvertvrrp.h).
#ifndef LIBVRRPCONVERT_TRACE_TRACE_H
#define LIBVRRPCONVERT_TRACE_TRACE_H

#include "libconvertvrrp.h"

// Writes one line with the name of the enclosing function. Does not evaluate its arguments while the log is closed.
#define VRRP_CNV_TRACE(...) VRRP_CNV_TRACE_FOR(__func__, __VA_ARGS__)

// For helpers: writes one line with the name `operation`, the exported operation that the helper is a step of.
#define VRRP_CNV_TRACE_FOR(operation, ...)                                              \
  do {                                                                                  \
    if (trace_fd != -1) vrrp_cnv::write_trace_line((operation), __LINE__, __VA_ARGS__); \
  } while (0)

namespace vrrp_cnv {

// Opens the log unless it is open, and never creates it. Only the entry points call it. The log stays open until the
// process ends. If it cannot be opened, nothing is traced until a later entry point opens it.
void open_trace_log();

void write_trace_line(const char* operation, int line, const char* format, ...) __attribute__((format(printf, 3, 4)));

// Returns `text`, or "(null)" if it is null.
inline const char* shown(const char* text) { return text != nullptr ? text : "(null)"; }

}  // namespace vrrp_cnv

#endif
