// All records of a kind. They are read before the first one is processed, so that the same store can be written.
#ifndef LIBVRRPCONVERT_RECORDS_RECORD_ARRAY_H
#define LIBVRRPCONVERT_RECORDS_RECORD_ARRAY_H

#include <stdlib.h>

#include "libconvertvrrp.h"

namespace vrrp_cnv {

// Owns the array that the bulk reader returned, and releases it. Iterates over the records in array order. Empty before
// the read, after a failed read, and if there are no records.
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
