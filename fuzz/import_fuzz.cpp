// An import line: it is refused with a reason, or is a record that both forms of a line represent exactly.

#include <cstdlib>

#include "tool/record/record_text.h"

using namespace vrrpconvert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StoredRecord record;
  try {
    record = record_of_line({reinterpret_cast<const char*>(data), size});
  } catch (const BadRecord& error) {
    if (error.what()[0] == '\0') abort();
    return 0;
  }
  std::string line, raw_line;
  JsonWriter json(line), raw_json(raw_line);
  write_record(json, record);
  write_raw_record(raw_json, record);
  if (record_of_line(line) != record || record_of_line(raw_line) != record) abort();
  return 0;
}
