// Observation of the library's run: the process that runs the library records each platform operation in shared memory.
// The library calls every platform operation through its dynamic symbol, and this program defines some of them
// (observation.cpp). They forward each call and, after begin(), record its result.
#pragma once

#include "tool/conversion/run.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {

class Observation {
 public:
  // Allocates memory that is shared with processes forked later. Throws Error.
  Observation();
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

  // Call in the process that runs the library. In a dry run, pss_open returns the working copy `original` for any URL,
  // pss_snapshot does nothing, and pss_close leaves the copy open. Otherwise, pss_open fails if the store has other
  // records than `original`, and pss_close rolls back after a failed snapshot.
  void begin(const RunOptions& options);

  Observed& observed() const { return *observed_; }
  uint32 operations() const { return __atomic_load_n(&observed_->operations, __ATOMIC_RELAXED); }

  void note_operation(const pss_datum_t& key, syserr_t status) const;
  std::map<std::string, syserr_t> failures() const;

  // Used in this process after begin().
  pss_service_t original = 0;
  bool is_dry_run = false;
  int result = -1;  // in a dry run, file for the converted image, or -1

 private:
  Observed* observed_;
  MemoryFile log_{};  // one line per failure: the hexadecimal digits of the key, and the status
};

}  // namespace vrrpconvert
