// A line given to import: it is refused with a reason, or is a record that both forms of a line carry exactly.

#include "tool/record/record_text.h"

using namespace vrrpconvert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StoredRecord record;
  try {
    record = record_of_line(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const BadRecord& error) {
    if (error.what()[0] == '\0') abort();
    return 0;
  }
  if (record_of_line(line_of(record)) != record || record_of_line(raw_line_of(record)) != record) abort();
  return 0;
}
