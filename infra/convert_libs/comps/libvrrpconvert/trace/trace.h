// The trace log, the library's only diagnostic output: one line a step, on stable storage before the step after it.
//
// The log is an append-only text file. It is created beforehand where tracing is wanted; without it the library is
// silent and does the same work. A line reads "<time> operation:line message". State: trace_fd, debug_str and tstamp
// (libconvertvrrp.h).
#ifndef LIBVRRPCONVERT_TRACE_TRACE_H
#define LIBVRRPCONVERT_TRACE_TRACE_H

#include "libconvertvrrp.h"

// Writes one line in the name of the enclosing function. The arguments are not evaluated while the log is closed.
#define VRRP_CNV_TRACE(...) VRRP_CNV_TRACE_FOR(__func__, __VA_ARGS__)

// The same from a helper, in the name of the exported operation that the helper is a step of.
#define VRRP_CNV_TRACE_FOR(operation, ...)                                              \
  do {                                                                                  \
    if (trace_fd != -1) vrrp_cnv::write_trace_line((operation), __LINE__, __VA_ARGS__); \
  } while (0)

namespace vrrp_cnv {

// Opens the log unless it is open. Called by the entry points only; the log is never created, and stays open for the
// life of the process. Where it cannot be opened, trace points write nothing until a later entry point finds it.
void open_trace_log();

void write_trace_line(const char* operation, int line, const char* format, ...) __attribute__((format(printf, 3, 4)));

// The text to show for `text`, which may be null.
inline const char* shown(const char* text) { return text != nullptr ? text : "(null)"; }

}  // namespace vrrp_cnv

#endif
