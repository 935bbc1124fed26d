// What the process that runs the library does to the store, seen from the process that waits for it.
//
// The library takes every platform operation through its dynamic symbol, so that those that this program defines
// (observation.cpp) come first. They forward each call, and note what it did once an observation has begun.
#pragma once

#include "tool/conversion/run.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {

class Observation {
 public:
  // Shares memory with processes that are forked from here on. Throws Error.
  Observation();
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

  // Begins in the process that runs the library. In a dry run the library gets the original, whatever it opens, and
  // takes no snapshot. Otherwise a store with other records than the original's is not given to it, and after a failed
  // snapshot its changes are not kept.
  void begin(const RunOptions& options);

  Observed& observed() const { return *observed_; }
  uint32 operations() const { return __atomic_load_n(&observed_->operations, __ATOMIC_RELAXED); }

  void note_operation(const pss_datum_t& key, syserr_t status) const;
  std::map<std::string, syserr_t> failures() const;

  // Of this process, once it has begun.
  pss_service_t original = 0;  // in a dry run, else 0
  int result = -1;
  StoreDigest expected;

 private:
  Observed* observed_;
  MemoryFile log_{};  // of failures: a line with the key's hexadecimal digits and the status for each
};

}  // namespace vrrpconvert
