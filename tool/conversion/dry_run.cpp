#include "tool/conversion/dry_run.h"

#include "platform/syserr.h"
#include "tool/support/error.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {
namespace {

// An incomplete dry run is an error: its losses are unknown.
[[noreturn]] void fail(const Conversion& conversion, const std::string& problem) {
  throw Error(exit_io,
              conversion.store().string() + ": cannot perform the dry run: " + problem + "; nothing was changed",
              "not_examined", conversion.store().string());
}

}  // namespace

DryRun::DryRun(const Conversion& conversion) : before_(conversion.store()) {
  const MemoryFile result;
  const Run run = run_library({.conversion = conversion, .original = before_, .result = result.descriptor()});
  if (!run.returned) fail(conversion, "the library process ended before it returned");
  if (!run.has_closed) fail(conversion, "the library could not open the working copy");
  if (run.close_status != 0) fail(conversion, syserr2str(run.close_status));
  after_.emplace(result.descriptor(), conversion.store());
  outcome_ = outcome_of(conversion, before_, *after_, run);
  operations_ = run.operations;
  // The library processes the global info record and every record of the two kinds that have layouts.
  const uint64_t expected = 1 + outcome_.records.of(Kind::vr) + outcome_.records.of(Kind::ip_assoc);
  if (operations_ != (conversion.change() == Change::none ? 0 : expected)) {
    fail(conversion, "the library did not convert every record; the free memory may not be enough");
  }
  if (!is_converted_already(conversion, outcome_)) return;
  after_.reset();
  outcome_ = outcome_of_none(before_);
}

}  // namespace vrrpconvert
