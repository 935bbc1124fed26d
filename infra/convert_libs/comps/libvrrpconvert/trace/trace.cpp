#include "trace/trace.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int32 trace_fd = -1;
char debug_str[VRRP_CNV_TRACE_LINE_MAX];
time_t tstamp;

namespace vrrp_cnv {

void open_trace_log() {
  if (trace_fd == -1) trace_fd = open(VRRP_CNV_TRACE_LOG, O_RDWR | O_APPEND);
}

void write_trace_line(const char* operation, int line, const char* format, ...) {
  time(&tstamp);
  const char* time_text = ctime(&tstamp);  // null if the year has more than four digits
  snprintf(debug_str, sizeof debug_str, "<%.24s> %s:%d ", shown(time_text), operation, line);

  // Append the message to the prefix. The buffer limits both together.
  const size_t prefix_length = strlen(debug_str);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(debug_str + prefix_length, sizeof debug_str - prefix_length, format, arguments);
  va_end(arguments);

  // Ignore both results: a failed write must not affect the conversion, and the next line tries again.
  [[maybe_unused]] const ssize_t written = write(trace_fd, debug_str, strlen(debug_str));
  [[maybe_unused]] const int synced = fsync(trace_fd);
}

}  // namespace vrrp_cnv
