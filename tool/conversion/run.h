// One run of the library, in a process of its own: the environment that the system manager gives it, the call, and what
// the library did to the store.
#pragma once

#include <map>
#include <string>

#include "platform/types.h"
#include "tool/conversion/conversion.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// What the process that runs the library notes in memory that it shares with the tool's.
struct Observed {
  bool answered;     // false: the process ended before the library returned `result`
  bool was_changed;  // the store had other records than expected, and the library did not get it
  bool has_snapshot;
  bool has_closed;     // the library closed the store, whose records then had the digest `closed`
  uint32 operations;   // records that the library stored or deleted, or tried to
  uint32 kept_number;  // of an earlier snapshot, as kept_name() has it
  syserr_t result;
  syserr_t open_status, snapshot_status, close_status;
  StoreDigest closed;
};

struct Run : Observed {
  bool interrupted = false;
  std::map<std::string, syserr_t> failures{};  // of operations, by the hexadecimal digits of the key

  bool has_converted() const { return answered && has_closed && close_status == 0; }
};

struct RunOptions {
  const Conversion& conversion;
  const Store& original;   // a store with other records is not converted
  int result = -1;         // in a dry run the file that gets the converted store's image, and no other file is touched
  bool has_trace = false;  // false in a dry run
  int trace = -1;          // the file that is traced to; -1 for the device's log
  uint32 operations = 0;   // that are expected; 0 if not known
};

// An interrupt ends the library at once, and the store is unchanged. Throws Error if the run cannot be prepared.
Run run_library(const RunOptions& options);

}  // namespace vrrpconvert
