// What the process that runs the library does to the store, seen from the process that waits for it.
//
// The library takes every platform operation through its dynamic symbol, so that those that this program defines
// (observation.cpp) come first. They forward each call, and note what it did where an observation has begun.
#ifndef TOOL_CONVERSION_OBSERVATION_H
#define TOOL_CONVERSION_OBSERVATION_H

#include <atomic>
#include <map>

#include "tool/record/stored_record.h"
#include "tool/store/store.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {

class Observation {
 public:
  // Shares memory with processes that are forked from here on. Throws Error.
  Observation();
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

  // Begin in the process that runs the library. In a dry run it gets the store `original`, whatever it opens, and takes
  // no snapshot; what it makes of it goes to the file `result`. Otherwise a store with another digest than `expected`
  // is not given to it, and after a snapshot that failed its changes are not kept.
  void begin_dry_run(pss_service_t original, int result);
  void begin(StoreDigest expected);

  struct Shared {
    std::atomic<uint32> operations;  // stores and deletions so far
    syserr_t open_status, snapshot_status, close_status;
    uint32 kept_number;  // of an earlier snapshot, as kept_name() has it
    bool has_snapshot;   // a snapshot was taken
    bool was_changed;    // the store had another digest
    bool has_closed;     // the library closed the store, whose records then had the digest `closed`
    StoreDigest closed;
    bool answered;  // the library returned `result`
    syserr_t result;
  };
  Shared& shared() const { return *shared_; }

  void note_failure(const pss_datum_t& key, syserr_t status) const;
  std::map<Bytes, syserr_t> failures() const;  // by key

  // Of this process.
  pss_service_t original = 0;  // in a dry run, else 0
  int result = -1;
  StoreDigest expected = 0;

 private:
  Shared* shared_;
  MemoryFile log_{};  // of failures: key size, key, status
};

}  // namespace vrrpconvert

#endif
