// A message of any content and length in a trace line.

#include <fcntl.h>

#include "fuzz/conversion.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int null_device = open("/dev/null", O_WRONLY);
  trace_fd = null_device;
  const std::string text(std::string(reinterpret_cast<const char*>(data), size).c_str());
  vrrp_dbg_print_header(text.c_str(), size % 2);
  const std::string line(debug_str, strnlen(debug_str, sizeof debug_str));
  int prefix = 0;
  sscanf(line.c_str(), "<%*24[^<>]> vrrp_dbg_print_header:%*d%n", &prefix);
  EXPECT_GT(prefix, 0);
  const std::string message = " " + text + (size % 2 == 1 ? " {\n" : " = { ");
  EXPECT_EQ(line, (line.substr(0, static_cast<size_t>(prefix)) + message).substr(0, 999));
  return 0;
}
