// The library written a second time, as plainly as can be, over byte strings: the platform calls, trace lines and
// results that the library must show, in their order. It runs on the same scripted platform and leaves its lines in
// TraceLog::events.
#ifndef TESTS_MODEL_H
#define TESTS_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "libconvertvrrp.h"
#include "tests/bytes.h"

namespace model {

struct Read {
  int32 result;
  int32 count;
  std::vector<Bytes> elements;  // none where no array is handed over
};

Read pss_get_table(pss_service_t table, char key_type, size_t value_size);
Read pss_eng_get_table(pss_service_t table, size_t value_size, int kind);

syserr_t remove_records(pss_service_t table);
syserr_t copy_records(pss_service_t read_table, pss_service_t written_table);
syserr_t drive(const std::string& path, const std::string& to, const std::string& from, uint32 conversion_type);

// The release in `text` as the driver normalises it.
std::string normal_release(const std::optional<std::string>& text);

}  // namespace model

#endif
