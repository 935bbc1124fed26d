// What the process that runs the library does to the store, seen from the process that waits for it.
//
// The library takes every platform operation through its dynamic symbol, so that those that this program defines
// (observation.cpp) come first. They forward each call, and note what it did where an observation has begun.
#ifndef TOOL_CONVERSION_OBSERVATION_H
#define TOOL_CONVERSION_OBSERVATION_H

#include <atomic>
#include <map>
#include <optional>

#include "tool/record/stored_record.h"
#include "tool/store/store.h"

namespace vrrpconvert {

class Observation {
 public:
  // Shares memory with processes that are forked from here on. Throws Error.
  Observation();
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

  // Begins in the process that runs the library. A store with another digest than `expected`, where one is, is not
  // given to it.
  void begin(const std::optional<StoreDigest>& expected);

  struct Shared {
    std::optional<StoreDigest> expected;
    std::atomic<uint32> operations;  // stores and deletions so far
    syserr_t open_status, close_status;
    bool was_changed;  // the store had another digest
    bool answered;     // the library returned `result`
    syserr_t result;
  };
  Shared& shared() const { return *shared_; }

  void note_failure(const pss_datum_t& key, syserr_t status) const;
  std::map<Bytes, syserr_t> failures() const;  // by key

 private:
  Shared* shared_;
  int log_;  // of failures: key size, key, status
};

}  // namespace vrrpconvert

#endif
