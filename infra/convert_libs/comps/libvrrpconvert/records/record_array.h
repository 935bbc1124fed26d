// All records of a kind, read whole before the first of them is handled, so that one store can be read and written.
#ifndef LIBVRRPCONVERT_RECORDS_RECORD_ARRAY_H
#define LIBVRRPCONVERT_RECORDS_RECORD_ARRAY_H

#include <stdlib.h>

#include "libconvertvrrp.h"

namespace vrrp_cnv {

// Owns the array from the moment the bulk reader hands it over and releases it on every return path. Iterates over the
// records in array order; empty before the read, after a failed one, and when there are none.
template <typename Record>
class RecordArray {
 public:
  RecordArray() = default;
  RecordArray(const RecordArray&) = delete;
  RecordArray& operator=(const RecordArray&) = delete;
  ~RecordArray() { free(records_); }

  // Reads the leading sizeof(Record) bytes of every value of `key_type`. Returns the bulk reader's result.
  int32 read(pss_service_t table, vrrp_pss_key_type_t key_type) {
    return pss_get_table(table, key_type, &records_, &count_, sizeof(Record));
  }

  int32 count() const { return count_; }
  const Record* begin() const { return static_cast<const Record*>(records_); }
  const Record* end() const { return records_ != nullptr ? begin() + count_ : begin(); }

 private:
  void* records_ = nullptr;
  int32 count_ = 0;
};

}  // namespace vrrp_cnv

#endif
