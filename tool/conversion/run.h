// A run of the library, with the environment that the system manager provides.
#pragma once

#include <map>
#include <string>

#include "platform/types.h"
#include "tool/conversion/conversion.h"
#include "tool/store/store.h"

namespace vrrpconvert {

// The record of a run, in memory that both processes share.
struct Observed {
  bool returned;     // whether the library returned `result` before the process ended
  bool was_changed;  // whether the store had other records than expected; the library did not get it
  bool has_snapshot;
  bool has_closed;     // whether the library closed the store, whose records then had the digest `closed`
  uint32 operations;   // number of calls that store or delete a record
  uint32 kept_number;  // N of the earlier snapshot's new name, for kept_name()
  syserr_t result;
  syserr_t open_status, snapshot_status, close_status;
  StoreDigest closed;
};

struct Run : Observed {
  bool interrupted = false;
  std::map<std::string, syserr_t> failures{};  // failed calls, by the hexadecimal digits of the key

  bool has_converted() const { return returned && has_closed && close_status == 0; }
};

struct RunOptions {
  const Conversion& conversion;
  const Store& original;  // a store with other records is not converted; in a dry run, the working copy to convert
  bool is_dry_run = false;
  int result = -1;        // file for the converted image of a dry run; else -1
  int trace = -1;         // file for trace lines; -1 for the device's log
  uint32 operations = 0;  // expected number for the progress bar; 0 if unknown
};

// Runs the library in a new process. A dry run changes only the file `result`: the working copy of this process stays
// as it is. After catch_interrupts(), an interrupt ends the process, and the store is unchanged. Throws Error if the
// run cannot be prepared.
Run run_library(const RunOptions& options);

// Performs a dry run in this process, which should be expendable: a crash of the library ends it. Converts the working
// copy itself. Throws Error if the run cannot be prepared.
Run run_library_here(const Conversion& conversion, const Store& copy);

}  // namespace vrrpconvert
