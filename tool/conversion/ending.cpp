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

Ending refusal_of_snapshot(const std::filesystem::path& snapshot) {
  return {
      exit_found,
      snapshot.string() +
          ": not a snapshot of these records; convert without --no-backup, or set --root to the device's own directory",
      "other_snapshot"};
}

Ending ending_of_dry_run(const Summary& summary, const Ending& refusal) {
  if (refusal.is_good() && summary.failures > 0) return {exit_some_failed, "", "would_fail"};
  const bool is_permissible =
      refusal.reason == "loss" || refusal.reason == "would_fail" || refusal.reason == "mismatch";
  return {refusal.exit, is_permissible ? "" : refusal.problem, refusal.reason};
}

void require_begun(const Run& run, const Conversion& conversion) {
  if (run.was_changed) {
    throw Error(exit_in_use,
                conversion.store().string() +
                    ": another process changed it after the dry run; it was not converted; run the dry run again",
                "changed", conversion.store().string());
  }
  if (run.returned && run.open_status != 0) throw_store_error(conversion.store(), run.open_status);
}

void require_kept(const Run& run, const Conversion& conversion, bool is_unchanged,
                  const std::vector<std::string>& unfinished) {
  if (!is_unchanged) return;
  if (run.interrupted) {
    Error error(exit_interrupted, "interrupted; the store is unchanged");
    error.more = unfinished;
    throw error;
  }
  if (run.snapshot_status == 0) return;
  throw Error(exit_io, conversion.snapshot().string() +
                           ": cannot write the snapshot: " + syserr2str(run.snapshot_status) + "; nothing was changed");
}

Ending ending_of_run(const Run& run, const ConversionReport& report) {
  const std::vector<FailedRecord>& failed = report.outcome->failed;
  if (!run.returned) {
    return {exit_unknown,
            report.changed
                ? std::string("the store is converted, but the process ended before the library returned") + not_durable
                : "the process ended before the library returned; the store is unchanged"};
  }
  if (run.result != 0) return {exit_bad_input, text_of_result(run.result)};
  // Every change failed: the dry run changed the working copy, but the store is unchanged.
  if (!failed.empty() && !report.changed && report.summary.changes > 0) {
    return {exit_io, failed.front().reason + "; nothing was changed"};
  }
  if (run.close_status != 0 && !report.changed) {
    return {exit_io, std::string("cannot close the store: ") + syserr2str(run.close_status) + "; nothing was changed"};
  }
  if (run.close_status != 0) {
    return {exit_unknown, std::string("the store is converted, but could not be closed: ") +
                              syserr2str(run.close_status) + not_durable};
  }
  if (failed.empty()) return {};
  return {exit_some_failed, "cannot convert " + std::to_string(failed.size()) +
                                (failed.size() == 1 ? " record" : " records") + "; the other records are converted"};
}

Ending ending_of_replaced(const Run& run, const Conversion& conversion) {
  return {exit_unknown,
          conversion.store().string() + ": " +
              (run.has_converted() ? "was converted, but another process" : "another process") +
              " replaced or changed it; run vrrpconvert show to see its records",
          "replaced"};
}

Ending ending_of_uncompared() {
  return {exit_unknown, "unknown outcome: no memory to compare the records; run vrrpconvert check on the store"};
}

Ending ending_of_unreadable(const std::string& reason, bool is_converted) {
  return {exit_unknown, is_converted ? "the store was converted, but cannot be read: " + reason
                                     : "unknown outcome: the store cannot be read: " + reason};
}

}  // namespace vrrpconvert
