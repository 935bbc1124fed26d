#include "tool/conversion/dry_run.h"

#include "platform/syserr.h"
#include "tool/conversion/run.h"
#include "tool/support/error.h"
#include "tool/support/memory_file.h"

namespace vrrpconvert {
namespace {

// An incomplete dry run is an error: its losses are unknown.
[[noreturn]] void fail(const Conversion& conversion, const std::string& problem) {
  throw Error(Reason::not_examined,
              conversion.store().string() + ": cannot perform the dry run: " + problem + "; nothing was changed",
              conversion.store().string());
}

void require_complete(const Run& run, const Conversion& conversion) {
  if (!run.returned) fail(conversion, "the library process ended before it returned");
  if (!run.has_closed) fail(conversion, "the library could not open the working copy");
  if (run.close_status != 0) fail(conversion, syserr2str(run.close_status));
}

}  // namespace

Run DryRun::convert(const Conversion& conversion, Place place) {
  const MemoryFile image;
  if (place == Place::own_process) {
    before_.write_image(image.descriptor());
    after_.emplace(image.descriptor(), conversion.store());
    const Run run = run_library_here(conversion, *after_);
    require_complete(run, conversion);
    return run;
  }
  const Run run =
      run_library({.conversion = conversion, .original = before_, .is_dry_run = true, .result = image.descriptor()});
  require_complete(run, conversion);
  after_.emplace(image.descriptor(), conversion.store());
  return run;
}

DryRun::DryRun(const Conversion& conversion, Place place) : before_(conversion.store()) {
  const Run run = convert(conversion, place);
  outcome_ = outcome_of(conversion, before_, *after_, run);
  operations_ = run.operations;
  // The library processes the global info record and every record of the two kinds that have layouts.
  const uint64_t expected = 1 + outcome_.counts.routers();
  if (operations_ != (conversion.change() == Change::none ? 0 : expected)) {
    fail(conversion, "the library did not convert every record; the free memory may not be enough");
  }
  if (!is_converted_already(conversion, outcome_)) return;
  after_.reset();
  outcome_ = outcome_of_none(before_);
}

}  // namespace vrrpconvert
