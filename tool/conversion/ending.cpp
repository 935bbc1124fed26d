#include "tool/conversion/ending.h"

#include <cstdio>

#include "platform/syserr.h"
#include "tool/store/store.h"

namespace vrrpconvert {
namespace {

constexpr char not_durable[] =
    "; after a power failure the store may have the old records again; run vrrpconvert check on it";

std::string text_of_result(syserr_t result) {
  char number[16];
  snprintf(number, sizeof number, "0x%x", result);
  return std::string("the library returned ") + number + " (" + syserr2str(result) + ")";
}

}  // namespace

void require_begun(const Run& run, const Conversion& conversion) {
  if (run.was_changed) {
    throw Error(Reason::changed,
                conversion.store().string() + ": another process changed it after the dry run; it was not converted" +
                    advice_for(Reason::changed),
                conversion.store().string());
  }
  if (run.returned && run.open_status != 0) throw_store_error(conversion.store(), run.open_status);
}

void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged,
                  const std::vector<std::string>& unfinished) {
  if (!is_unchanged) return;
  if (run.interrupted) {
    Error error(Reason::interrupted, "interrupted; the store is unchanged");
    error.more = unfinished;
    throw error;
  }
  if (run.snapshot_status == 0) return;
  throw Error(Reason::io, conversion.snapshot().string() + ": cannot write the snapshot: " +
                              syserr2str(run.snapshot_status) + "; nothing was changed");
}

Ending ending_of_run(const Run& run, const ConversionReport& report) {
  const std::vector<FailedRecord>& failures = report.outcome->failures;
  if (!run.returned) {
    return {Reason::unknown_outcome,
            report.changed
                ? std::string("the store is converted, but the process ended before the library returned") + not_durable
                : "the process ended before the library returned; the store is unchanged"};
  }
  if (run.result != 0) return {Reason::bad_input, text_of_result(run.result)};
  // Every change failed: the dry run changed the working copy, but the store is unchanged.
  if (!failures.empty() && !report.changed && report.summary.change_count > 0) {
    return {Reason::io, failures.front().reason + "; nothing was changed"};
  }
  if (run.close_status != 0 && !report.changed) {
    return {Reason::io,
            std::string("cannot close the store: ") + syserr2str(run.close_status) + "; nothing was changed"};
  }
  if (run.close_status != 0) {
    return {Reason::unknown_outcome, std::string("the store is converted, but could not be closed: ") +
                                         syserr2str(run.close_status) + not_durable};
  }
  if (failures.empty()) return {};
  return {Reason::records_failed, "cannot convert " + std::to_string(failures.size()) +
                                      (failures.size() == 1 ? " record" : " records") +
                                      "; the other records are converted"};
}

Ending ending_of_replaced(const Run& run, const Conversion& conversion) {
  return {Reason::replaced, conversion.store().string() + ": " +
                                (run.has_converted() ? "was converted, but another process" : "another process") +
                                " replaced or changed it" + advice_for(Reason::replaced)};
}

Ending ending_of_uncompared() {
  return {Reason::unknown_outcome,
          "unknown outcome: no memory to compare the records" + advice_for(Reason::unknown_outcome)};
}

Ending ending_of_unreadable(const std::string& reason, bool is_converted) {
  return {Reason::unknown_outcome, is_converted ? "the store was converted, but cannot be read: " + reason
                                                : "unknown outcome: the store cannot be read: " + reason};
}

}  // namespace vrrpconvert
