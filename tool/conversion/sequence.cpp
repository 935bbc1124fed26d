#include "tool/conversion/sequence.h"

#include <new>

#include "tool/conversion/backup.h"
#include "tool/conversion/trace_file.h"
#include "tool/store/files.h"
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
  fs::create_directory(directory, error);  // where a device has one
  if (error) throw Error(exit_io, directory.string() + ": cannot be created: " + error.message());
}

// Whether the upgrade's snapshot would meet a file that is not an intact store with the same records.
bool meets_other_snapshot(const Conversion& conversion, const Store& original) {
  if (conversion.change() != Change::upgrade || !is_taken(conversion.snapshot())) return false;
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
    report_.summary = summary_of(conversion_, dry_run.outcome(), request.permissions.accepted);
  }

  ConversionReport run() {
    const bool is_upgrade = conversion_.change() == Change::upgrade;
    const Ending refusal = refusal_of(report_.summary, request_.permissions);
    report_.refused = !refusal.is_good();
    if (request_.is_dry_run) {
      ending() = ending_of_dry_run(report_.summary, refusal);
    } else if (report_.refused) {
      ending() = refusal;
    } else if (is_upgrade && report_.summary.changes == 0 && report_.summary.failures == 0) {
      report_.next = "nothing to upgrade: the library was not run, so that an earlier snapshot stays";
    } else if (!request_.has_backup && meets_other_snapshot(conversion_, dry_run_.before())) {
      report_.refused = true;
      ending() = refusal_of_snapshot(conversion_.snapshot());
    } else {
      convert();
    }
    return report_;
  }

 private:
  Ending& ending() { return report_; }

  void convert() {
    try {
      const Run run = run_on_store();
      require_begun(run, conversion_);
      ignore_interrupts();  // from here on the outcome has to be reported
      ending() = examine(run);
      note_unfinished_files();
      if (report_.is_good()) require_kept(run, conversion_, !report_.changed, unfinished_text());
      if (report_.is_good()) ending() = ending_of_run(run, report_);
      if (report_.is_good() && !report_.changed) drop_backup();
    } catch (const Error&) {
      drop_backup();
      throw;
    }
    name_ways_back();
  }

  Run run_on_store() {
    const TraceFile trace(request_.trace);
    make_snapshot_directory(conversion_);
    if (request_.has_backup && conversion_.change() != Change::none) {
      report_.copy = write_backup(dry_run_.before(), conversion_.store(), conversion_.from);
    }
    const Run run = run_library({.conversion = conversion_,
                                 .original = dry_run_.before(),
                                 .has_trace = true,
                                 .trace = trace.descriptor(),
                                 .operations = dry_run_.operations()});
    if (run.has_snapshot) {
      report_.snapshot = conversion_.snapshot();
      report_.earlier_snapshot = kept_name(conversion_.snapshot(), run.kept_number);
    }
    return run;
  }

  // Reads the store again. If the digests show the records that the dry run foresaw, its outcome is the outcome; else
  // all records are compared.
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
      report_.outcome = is_known ? dry_run_.outcome() : outcome_of(conversion_.change(), dry_run_.before(), now, run);
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

  // Removes the backup of a store that was not changed: the store itself holds the same. One that stays does no harm.
  void drop_backup() {
    std::error_code ignored;
    if (!report_.copy.empty()) fs::remove(report_.copy, ignored);
    report_.copy.clear();
  }

  // Names the files that this process or an earlier one left where the conversion writes stores.
  void note_unfinished_files() {
    std::vector<fs::path> files = unfinished_files_in(conversion_.store().parent_path());
    if (conversion_.change() == Change::upgrade) {
      for (const fs::path& file : unfinished_files_in(conversion_.snapshot().parent_path())) files.push_back(file);
    }
    for (const fs::path& file : files) report_.unfinished_files.push_back(file);
  }

  std::string unfinished_text() const {
    std::string text;
    for (const std::string& file : report_.unfinished_files) text += "\n" + (unfinished_file_text + file);
    return text;
  }

  void name_ways_back() {
    if (!report_.changed) return;
    const std::string& source = report_.copy.empty() ? report_.snapshot : report_.copy;
    const std::string back = source.empty() ? ""
                                            : "to go back to " + report_.from + ": vrrpconvert restore " +
                                                  quoted_for_shell(source) + " " + quoted_for_shell(report_.store);
    const bool is_upgrade = conversion_.change() == Change::upgrade;
    const std::string start = (is_upgrade ? "configure VRRP anew under " : "start ") + report_.to;
    report_.next = report_.exit != exit_done ? back : start + (back.empty() ? "" : "; or " + back);
    if (!is_upgrade) return;
    report_.ways_back = restore_sources(conversion_.store(), conversion_.snapshot(), [this](const fs::path& file) {
      // What this run wrote has the records that the store had.
      const bool is_own = file == report_.copy || file == report_.snapshot;
      return is_own ? dry_run_.outcome().records : count_records(Store(file, no_wait));
    });
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
