// The two bulk readers. Each walks the store twice: the first pass counts the records, the second copies them into one
// zero-filled allocation. The order of calls is part of the interface, so each walk is written out. The first pass of
// pss_get_table checks the status of its first move before it checks for null, and ends at the first key of another
// type. All other walks check for null first and visit every key. The readers share the interpretation of a status and
// the copy of a value.

#include <stdlib.h>
#include <string.h>

#include "libconvertvrrp.h"
#include "platform/platform.h"
#include "trace/trace.h"

namespace {

// Owns the array, and frees it unless hand_over() passes it to the caller.
class ValueArray {
 public:
  ValueArray(int32 count, int32 value_size)
      : count_(count),
        value_size_(static_cast<size_t>(value_size)),
        bytes_(static_cast<uint8*>(calloc(static_cast<size_t>(count), value_size_))) {}
  ValueArray(const ValueArray&) = delete;
  ValueArray& operator=(const ValueArray&) = delete;
  ~ValueArray() { free(bytes_); }

  bool allocated() const { return bytes_ != nullptr; }

  // Copies the value of the record under the cursor into the next element. Returns 0 or the reader's result. If the
  // value is shorter than the element, the remaining bytes stay zero. If the store has more records than the first pass
  // counted, reads the value and drops it.
  int32 take_value(pss_service_t table) {
    syserr_t error_ret = 0;
    const pss_datum_t* value = pss_getvalue(table, &error_ret);
    if (error_ret != 0) return static_cast<int32>(error_ret);
    if (value == nullptr) return VRRP_CNV_ERR_NO_VALUE;
    const size_t length = value->siz < value_size_ ? value->siz : value_size_;
    if (taken_ < count_) memcpy(bytes_ + static_cast<size_t>(taken_) * value_size_, value->ptr, length);
    ++taken_;
    return 0;
  }

  int32 hand_over(void** value_array) {
    *value_array = bytes_;
    bytes_ = nullptr;
    return 0;
  }

 private:
  int32 taken_ = 0;
  int32 count_;
  size_t value_size_;
  uint8* bytes_;
};

// Returns whether a move succeeded. SYSERR_PSS_NOKEY is not a failure: the cursor is on the next key, or off the store.
bool placed(syserr_t error_ret) { return error_ret == 0 || error_ret == SYSERR_PSS_NOKEY; }

// Returns whether `key` has these bytes at `offset`. Reads no byte after its end.
bool begins_with(const pss_datum_t& key, size_t offset, const void* bytes, size_t size) {
  return key.siz >= offset + size && memcmp(static_cast<const uint8*>(key.ptr) + offset, bytes, size) == 0;
}

}  // namespace

int32 pss_get_table(pss_service_t table, vrrp_pss_key_type_t key_type, void** value_array, int32* num_values,
                    int32 value_size) {
  const pss_datum_t pss_key = {&key_type, sizeof key_type};
  syserr_t error_ret = 0;
  *num_values = 0;

  const pss_datum_t* key = pss_move2key(table, &pss_key, &error_ret);
  if (!placed(error_ret)) return static_cast<int32>(error_ret);
  if (key == nullptr) return 0;

  int32 num_record = 0;
  while (key != nullptr) {
    if (!placed(error_ret)) return static_cast<int32>(error_ret);
    if (!begins_with(*key, 0, &key_type, sizeof key_type)) break;
    ++num_record;
    key = pss_move2location(table, PSS_NEXT_KEY, &error_ret);
  }
  *num_values = num_record;
  if (num_record == 0) return 0;

  ValueArray values(num_record, value_size);
  if (!values.allocated()) return VRRP_CNV_ERR_NO_MEMORY;

  // The copying pass runs to the end of the store, past the last key of the type.
  for (key = pss_move2key(table, &pss_key, &error_ret); key != nullptr;
       key = pss_move2location(table, PSS_NEXT_KEY, &error_ret)) {
    if (!placed(error_ret)) return static_cast<int32>(error_ret);
    if (begins_with(*key, 0, &key_type, sizeof key_type)) {
      const int32 result = values.take_value(table);
      if (result != 0) return result;
    }
  }
  return values.hand_over(value_array);
}

int32 pss_eng_get_table(pss_service_t table, void** value_array, int32* num_values, int32 value_size,
                        vrrp_ri_pss_key_type_t pss_key_type) {
  static constexpr char operation[] = "pss_eng_get_table";
  const auto matches = [pss_key_type](const pss_datum_t& key) {
    if (!begins_with(key, 0, afk, sizeof afk)) return false;
    const bool is_track = begins_with(key, sizeof afk, "Track", 5);
    if (pss_key_type == VRRP_RI_PSS_KEY_VR) return !is_track;
    if (pss_key_type == VRRP_RI_PSS_KEY_TRACK) return is_track;
    VRRP_CNV_TRACE_FOR(operation, "Unrecognized PSS record type\n");
    return false;
  };
  syserr_t error_ret = 0;
  *num_values = 0;

  int32 num_record = 0;
  for (const pss_datum_t* key = pss_move2location(table, PSS_FIRST_KEY, &error_ret); key != nullptr;
       key = pss_move2location(table, PSS_NEXT_KEY, &error_ret)) {
    if (!placed(error_ret)) return static_cast<int32>(error_ret);
    if (matches(*key)) ++num_record;
  }
  *num_values = num_record;
  if (num_record == 0) return 0;

  ValueArray values(num_record, value_size);
  if (!values.allocated()) return VRRP_CNV_ERR_NO_MEMORY;

  for (const pss_datum_t* key = pss_move2location(table, PSS_FIRST_KEY, &error_ret); key != nullptr;
       key = pss_move2location(table, PSS_NEXT_KEY, &error_ret)) {
    if (!placed(error_ret)) return static_cast<int32>(error_ret);
    if (matches(*key)) {
      const int32 result = values.take_value(table);
      if (result != 0) return result;
    }
  }
  return values.hand_over(value_array);
}
