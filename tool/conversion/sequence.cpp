#include "tool/conversion/sequence.h"

#include <new>

#include "tool/conversion/backup.h"
#include "tool/conversion/ending.h"
#include "tool/conversion/preflight.h"
#include "tool/conversion/trace_file.h"
#include "tool/store/files.h"
#include "tool/store/record_hash.h"
#include "tool/store/store.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

void make_snapshot_directory(const Conversion& conversion) {
  if (conversion.change() != Change::upgrade || conversion.root == "/") return;
  const fs::path directory = conversion.snapshot().parent_path();
  std::error_code error;
  fs::create_directory(directory, error);  // as on a device
  if (error) throw Error(exit_io, directory.string() + ": cannot create: " + error.message());
}

// Returns whether the snapshot path of the upgrade contains anything but an intact store with the same records.
bool meets_other_snapshot(const Conversion& conversion, const Store& original) {
  if (conversion.change() != Change::upgrade || !path_exists(conversion.snapshot())) return false;
  try {
    return Store(conversion.snapshot(), no_wait).digest() != original.digest();
  } catch (const Error&) {
    return true;
  }
}

class Sequence {
 public:
  Sequence(const Conversion& conversion, const ConversionRequest& request, const DryRun& dry_run)
      : conversion_(conversion), request_(request), dry_run_(dry_run) {
    report_.store = conversion_.store();
    report_.from = conversion_.from.text;
    report_.to = conversion_.to.text;
    report_.change = name_of(conversion_.change());
    report_.dry_run = request.is_dry_run;
    report_.summary = summary_of(conversion_, dry_run.outcome());
    accept_losses(request.permissions.accepted, report_.summary);
    if (request.permissions.loss) accept_all_losses(report_.summary);
    report_.decision = decision_of(report_, request.permissions);
  }

  ConversionReport run() {
    const bool is_nothing = report_.summary.changes == 0 && report_.summary.failures == 0;
    if (!is_nothing) require_approved();
    const Ending refusal = refuse();
    report_.refused = !refusal.is_good();
    if (request_.is_dry_run) {
      name_new_files();
      ending() = ending_of_dry_run(report_.summary, refusal);
    } else if (report_.refused) {
      ending() = refusal;
      ending().problem = report_.store + ": conversion refused: " + refusal.problem + "; nothing was changed";
    } else if (!is_nothing || conversion_.change() == Change::none) {
      convert();
    }
    if (is_nothing && report_.is_good() && report_.summary.note.empty()) report_.reason = "already";
    return report_;
  }

 private:
  Ending& ending() { return report_; }

  // A plan is valid only for the records that its dry run read.
  void require_approved() const {
    if (request_.approved.empty() || request_.approved == hash_of_records(dry_run_.before())) return;
    throw Error(
        exit_in_use,
        report_.store + ": the records differ from those of the plan; nothing was changed; make and approve a new plan",
        "changed", report_.store);
  }

  Ending refuse() {
    Ending refusal = refusal_of(report_, request_.permissions);
    if (conversion_.change() == Change::none || report_.summary.changes == 0) return refusal;
    // A real run needs no checks: it tries to write the files, and changes nothing if that fails.
    Ending obstacle = request_.is_dry_run ? preflight(conversion_, request_.has_backup) : Ending();
    if (obstacle.is_good() && !request_.has_backup && meets_other_snapshot(conversion_, dry_run_.before())) {
      obstacle = refusal_of_snapshot(conversion_.snapshot());
    }
    if (obstacle.is_good()) return refusal;
    report_.decision = "NO-GO: " + obstacle.problem + "; apart from this problem: " + report_.decision;
    return obstacle;
  }

  void name_new_files() {
    if (conversion_.change() == Change::none || report_.summary.changes == 0) return;
    if (request_.has_backup) report_.copy = free_backup_name(conversion_.store(), conversion_.from);
    if (conversion_.change() == Change::upgrade) report_.snapshot = conversion_.snapshot();
  }

  void convert() {
    catch_interrupts();  // the backup has to be removed then
    try {
      const Run run = run_on_store();
      require_begun(run, conversion_);
      ignore_interrupts();  // from here on the outcome must be reported
      // A process that was killed before it closed the store has not changed it.
      ending() = run.interrupted && !run.has_closed ? Ending() : examine(run);
      note_unfinished_files();
      if (report_.is_good()) require_kept(run, conversion_, !report_.changed, unfinished_lines());
      if (report_.is_good()) {
        if (!report_.changed) drop_backup();
        ending() = ending_of_run(run, report_);
      }
    } catch (const Error&) {
      drop_backup();
      throw;
    }
    list_restore_sources();
  }

  Run run_on_store() {
    const TraceFile trace(request_.trace);
    make_snapshot_directory(conversion_);
    if (request_.has_backup && conversion_.change() != Change::none) {
      report_.copy = write_backup(dry_run_.before(), conversion_.store(), conversion_.from);
    }
    const ino_t earlier = file_number(conversion_.snapshot());
    const Run run = run_library({.conversion = conversion_,
                                 .original = dry_run_.before(),
                                 .has_trace = true,
                                 .trace = trace.descriptor(),
                                 .operations = dry_run_.operations()});
    if (run.has_snapshot) {
      report_.snapshot = conversion_.snapshot();
      report_.earlier_snapshot = kept_name(conversion_.snapshot(), run.kept_number);
    } else if (conversion_.change() == Change::upgrade && file_number(conversion_.snapshot()) != earlier) {
      note_unreported_snapshot(earlier);
    }
    return run;
  }

  // The process was killed while it wrote the snapshot, and did not report the name of the earlier one.
  void note_unreported_snapshot(ino_t earlier) {
    report_.snapshot = conversion_.snapshot();
    for (uint32 number = 1; earlier != 0; ++number) {
      const fs::path name = kept_name(conversion_.snapshot(), number);
      if (!path_exists(name)) return;
      if (file_number(name) == earlier) report_.earlier_snapshot = name;
    }
  }

  // Reads the store again. If its digest equals that of the dry run, takes the outcome of the dry run; else compares
  // all records.
  Ending examine(const Run& run) {
    const bool is_foreseen = run.has_converted() && run.closed == dry_run_.after().digest();
    try {
      const Store now(conversion_.store());
      const StoreDigest digest = now.digest();
      report_.changed = digest != dry_run_.before().digest();
      const bool is_as_closed = run.has_closed && digest == run.closed;
      const bool is_as_before = !report_.changed && !run.has_converted();
      if (!is_as_closed && !is_as_before) return ending_of_replaced(run, conversion_);
      const bool is_known = is_foreseen && is_as_closed && dry_run_.outcome().failed.empty();
      report_.outcome = is_known ? dry_run_.outcome() : outcome_of(conversion_, dry_run_.before(), now, run);
      return {};
    } catch (const Error& error) {
      report_.changed = true;
      if (is_foreseen) report_.outcome = dry_run_.outcome();
      return ending_of_unreadable(error.what(), is_foreseen);
    } catch (const std::bad_alloc&) {
      report_.changed = report_.changed || run.has_converted();
      return ending_of_uncompared();
    }
  }

  // Removes the backup of an unchanged store. A failure is ignored: the backup does no harm.
  void drop_backup() {
    std::error_code ignored;
    if (!report_.copy.empty()) fs::remove(report_.copy, ignored);
    report_.copy.clear();
  }

  // Lists the temporary files that this process or an earlier one left in the directories of the conversion.
  void note_unfinished_files() {
    std::vector<fs::path> files = unfinished_files_in(conversion_.store().parent_path());
    if (conversion_.change() == Change::upgrade) {
      for (const fs::path& file : unfinished_files_in(conversion_.snapshot().parent_path())) files.push_back(file);
    }
    for (const fs::path& file : files) report_.unfinished_files.push_back(file);
  }

  std::vector<std::string> unfinished_lines() const {
    std::vector<std::string> lines;
    lines.reserve(report_.unfinished_files.size() + 2);
    if (!report_.snapshot.empty()) lines.push_back("Snapshot: " + report_.snapshot);
    if (!report_.earlier_snapshot.empty()) lines.push_back("Earlier snapshot renamed to: " + report_.earlier_snapshot);
    for (const std::string& file : report_.unfinished_files) lines.push_back(unfinished_file_text + file);
    return lines;
  }

  void list_restore_sources() {
    if (!report_.changed) return;
    const std::string& source = report_.copy.empty() ? report_.snapshot : report_.copy;
    const std::string back = source.empty() ? ""
                                            : "to go back to " + report_.from + ": vrrpconvert restore " +
                                                  quoted_for_shell(source) + " " + quoted_for_shell(report_.store);
    const bool is_upgrade = conversion_.change() == Change::upgrade;
    const std::string start = (is_upgrade ? "enter the VRRP configuration again under " : "start ") + report_.to;
    report_.next = report_.exit != exit_done ? back : start + (back.empty() ? "" : "; or " + back);
    // The backup and the snapshot have the same records.
    for (const std::string& file : {report_.copy, report_.snapshot}) {
      if (!file.empty()) report_.ways_back.push_back({file, report_.from, dry_run_.outcome().records});
    }
  }

  const Conversion& conversion_;
  const ConversionRequest& request_;
  const DryRun& dry_run_;
  ConversionReport report_;
};

}  // namespace

ConversionReport convert_store(const Conversion& conversion, const ConversionRequest& request, const DryRun& dry_run) {
  return Sequence(conversion, request, dry_run).run();
}

}  // namespace vrrpconvert
