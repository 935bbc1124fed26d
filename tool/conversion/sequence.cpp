#include "tool/conversion/sequence.h"

#include <algorithm>
#include <new>

#include "tool/conversion/backup.h"
#include "tool/conversion/ending.h"
#include "tool/conversion/preflight.h"
#include "tool/conversion/trace_file.h"
#include "tool/store/difference.h"
#include "tool/store/paths.h"
#include "tool/store/record_hash.h"
#include "tool/store/store.h"
#include "tool/support/digits.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

void make_snapshot_directory(const Conversion& conversion) {
  if (conversion.change() != Change::upgrade || conversion.request.root == "/") return;
  const fs::path directory = conversion.snapshot().parent_path();
  std::error_code error;
  fs::create_directory(directory, error);  // as on a device
  if (error) throw Error(Reason::io, directory.string() + ": cannot create: " + error.message());
}

bool has_records_of(const fs::path& snapshot, const Store& original) {
  try {
    return Store(snapshot, no_wait).digest() == original.digest();
  } catch (const Error&) {
    return false;
  }
}

// Returns the refusal if the snapshot path of an upgrade contains anything but an intact store with the same records.
Ending check_snapshot(const Conversion& conversion, const Store& original) {
  const fs::path snapshot = conversion.snapshot();
  if (conversion.change() != Change::upgrade || !path_exists(snapshot) || has_records_of(snapshot, original)) return {};
  return {Reason::other_snapshot,
          snapshot.string() + ": not a snapshot of these records" + advice_for(Reason::other_snapshot)};
}

// Returns whether the store `file` has a record for each key in `original`.
bool has_all_keys(const fs::path& file, const Store& original) {
  try {
    bool has_all = true;
    for_each_pair(original, Store(file, no_wait),
                  [&has_all](const Difference& pair) { has_all = has_all && pair.after != nullptr; });
    return has_all;
  } catch (const Error&) {
    return false;
  }
}

bool has_less(const Backup& one, const Backup& other) { return one.counts.routers() < other.counts.routers(); }

}  // namespace

ConversionReport Sequence::foresee() {
  report_.dry_run = true;
  begin_report();
  // A real run needs no checks: it tries to write the files, and changes nothing if that fails.
  const Decision decision = decide_with(would_change() ? preflight(conversion_) : Ending());
  name_new_files();
  if (decision.is_permissible) report_.ending.problem.clear();  // the decision contains it
  if (report_.ending.reason == Reason::none && report_.summary.failure_count > 0) report_.ending = {Reason::would_fail};
  if (would_change() && conversion_.change() == Change::upgrade) report_.backups = other_backups(dry_run_.before());
  note_nothing();
  return report_;
}

ConversionReport Sequence::convert(const std::string& trace) {
  begin_report();
  (void)decide_with({});
  if (report_.refused) {
    report_.ending.problem =
        report_.store + ": conversion refused: " + report_.ending.problem + "; nothing was changed";
  } else if (!report_.summary.is_empty() || conversion_.change() == Change::none) {
    convert_allowed(trace);
  }
  note_nothing();
  return report_;
}

// Distinguishes a store that the target release reads, a store that never had records, and one whose records were
// deleted.
void Sequence::note_nothing() {
  const Summary& summary = report_.summary;
  if (!summary.is_empty() || !summary.note.empty() || report_.ending.reason != Reason::none) return;
  report_.ending.reason = Reason::already;
  if (summary.counts.routers() > 0) return;
  report_.ending.reason = Reason::empty;
  // Of files with the same number of records, a backup has precedence over a replaced store or a snapshot.
  const auto rank = [](const Backup& file) { return std::pair(file.counts.routers(), !file.release.empty()); };
  const std::vector<Backup> others = other_backups(dry_run_.before());
  const auto most = std::max_element(others.begin(), others.end(), [&rank](const Backup& one, const Backup& other) {
    return rank(one) < rank(other);
  });
  if (most == others.end() || most->counts.routers() == 0) return;
  const std::string found = "has no VRRP records; " + most->file + " has " + std::to_string(most->counts.routers()) +
                            " (" + std::to_string(most->counts.of(Kind::vr)) + " VRs)";
  report_.decision = "Nothing to do: the store " + found;
  report_.ending = {Reason::deleted, report_.store + ": " + found};
  report_.next = next_step(&*most);
}

// Returns the next step for a store whose records are converted or deleted. `back` is the file to go back to, or null.
std::string Sequence::next_step(const Backup* back) const {
  std::string restore = back == nullptr ? ""
                                        : "to go back" + (back->release.empty() ? "" : " to " + back->release) +
                                              ": vrrpconvert restore " + quoted_for_shell(back->file) + " " +
                                              quoted_for_shell(report_.store);
  const bool is_finished = report_.ending.is_good() || report_.ending.reason == Reason::deleted;
  if (!is_finished) return restore;
  const bool is_upgrade = conversion_.change() == Change::upgrade;
  return (is_upgrade ? "enter the VRRP configuration again under " : "start ") + report_.to +
         (restore.empty() ? "" : "; or " + restore);
}

void Sequence::begin_report() {
  report_.store = conversion_.store();
  if (!is_utf8(report_.store)) report_.store_hex = hex_of(std::string_view(report_.store));
  report_.from = conversion_.from.text;
  report_.to = conversion_.to.text;
  report_.change = name_of(conversion_.change());
  report_.summary = summary_of(conversion_, dry_run_.outcome());
  accept_losses(conversion_.request.accepted, report_.summary);
  if (conversion_.request.allow_loss) accept_all_losses(report_.summary);
  if (!report_.summary.is_empty()) require_planned();
}

// A plan is valid only for the records that its dry run read.
void Sequence::require_planned() const {
  const std::string& planned = conversion_.request.hash;
  if (planned.empty() || planned == hash_of_records(dry_run_.before())) return;
  throw Error(
      Reason::changed,
      report_.store + ": the records differ from those of the plan; nothing was changed; make and approve a new plan",
      report_.store);
}

Decision Sequence::decide_with(const Ending& obstacle) {
  const bool needs_snapshot = would_change() && conversion_.request.no_backup && obstacle.is_good();
  Decision decision =
      decide(report_, conversion_.request, needs_snapshot ? check_snapshot(conversion_, dry_run_.before()) : obstacle);
  report_.decision = decision.text;
  report_.ending = decision.refusal;
  report_.refused = !decision.refusal.is_good();
  return decision;
}

std::optional<Request> Sequence::plan() const {
  if (!is_utf8(conversion_.request.directory)) return std::nullopt;
  Request plan = conversion_.request;
  plan.tool = CONVERTVRRP_VERSION;
  plan.hash = hash_of_records(dry_run_.before());
  return plan;
}

void Sequence::name_new_files() {
  if (!would_change()) return;
  if (!conversion_.request.no_backup) report_.backup = next_backup_name(conversion_.store(), conversion_.from);
  if (conversion_.change() == Change::upgrade) report_.snapshot = conversion_.snapshot();
}

void Sequence::convert_allowed(const std::string& trace) {
  catch_interrupts();  // the backup has to be removed then
  try {
    const Run run = run_on_store(trace);
    require_begun(run, conversion_);
    ignore_interrupts();  // from here on the outcome must be reported
    // A process that was killed before it closed the store has not changed it.
    report_.ending = run.interrupted && !run.has_closed ? Ending() : examine(run);
    note_unfinished_files();
    if (report_.ending.is_good()) require_kept(run, conversion_, !report_.changed, unfinished_lines());
    if (report_.ending.is_good()) {
      if (!report_.changed) drop_backup();
      report_.ending = ending_of_run(run, report_);
    }
  } catch (const Error&) {
    drop_backup();
    throw;
  }
  list_backups();
}

Run Sequence::run_on_store(const std::string& trace) {
  const TraceFile trace_file(trace);
  make_snapshot_directory(conversion_);
  if (!conversion_.request.no_backup && conversion_.change() != Change::none) {
    report_.backup = write_backup(dry_run_.before(), conversion_.store(), conversion_.from);
  }
  const ino_t earlier = file_number(conversion_.snapshot());
  const Run run = run_library({.conversion = conversion_,
                               .original = dry_run_.before(),
                               .trace = trace_file.descriptor(),
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
void Sequence::note_unreported_snapshot(ino_t earlier) {
  report_.snapshot = conversion_.snapshot();
  for (uint32 number = 1; earlier != 0; ++number) {
    const fs::path name = kept_name(conversion_.snapshot(), number);
    if (!path_exists(name)) return;
    if (file_number(name) == earlier) report_.earlier_snapshot = name;
  }
}

// Reads the store again. If its digest equals that of the dry run, takes the outcome of the dry run; else compares
// all records.
Ending Sequence::examine(const Run& run) {
  const bool is_foreseen = run.has_converted() && run.closed == dry_run_.after().digest();
  try {
    const Store now(conversion_.store());
    const StoreDigest digest = now.digest();
    report_.changed = digest != dry_run_.before().digest();
    const bool is_as_closed = run.has_closed && digest == run.closed;
    const bool is_as_before = !report_.changed && !run.has_converted();
    if (!is_as_closed && !is_as_before) return ending_of_replaced(run, conversion_);
    const bool is_known = is_foreseen && is_as_closed && dry_run_.outcome().failures.empty();
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
void Sequence::drop_backup() {
  std::error_code ignored;
  if (!report_.backup.empty()) fs::remove(report_.backup, ignored);
  report_.backup.clear();
}

// Lists the temporary files that this process or an earlier one left in the directories of the conversion.
void Sequence::note_unfinished_files() {
  std::vector<fs::path> files = unfinished_files_in(conversion_.store().parent_path());
  if (conversion_.change() == Change::upgrade) {
    for (const fs::path& file : unfinished_files_in(conversion_.snapshot().parent_path())) files.push_back(file);
  }
  for (const fs::path& file : files) report_.unfinished_files.push_back(file);
}

std::vector<std::string> Sequence::unfinished_lines() const {
  std::vector<std::string> lines;
  lines.reserve(report_.unfinished_files.size() + 2);
  if (!report_.snapshot.empty()) lines.push_back("Snapshot: " + report_.snapshot);
  if (!report_.earlier_snapshot.empty()) lines.push_back("Earlier snapshot renamed to: " + report_.earlier_snapshot);
  for (const std::string& file : report_.unfinished_files) lines.push_back(unfinished_file_text + file);
  return lines;
}

// Returns the backups and snapshots with records that `now` does not have, except those of this conversion.
std::vector<Backup> Sequence::other_backups(const Store& now) const {
  std::vector<fs::path> files = backups_of(conversion_.store());
  const fs::path snapshot = conversion_.snapshot();
  for (const fs::path& file : snapshots_in(snapshot.parent_path())) {
    if (is_snapshot_of(file, snapshot)) files.push_back(file);
  }
  std::erase_if(files, [this](const fs::path& file) {
    return file == report_.backup || (report_.outcome && file == report_.snapshot);
  });
  return with_other_records(files, now);
}

// Only an upgrade deletes records. Never throws: the outcome must be reported.
std::vector<Backup> Sequence::backups_after_upgrade() const {
  if (conversion_.change() != Change::upgrade) return {};
  try {
    return other_backups(Store(conversion_.store()));
  } catch (const Error&) {
    return {};  // the ending says that the store cannot be read
  } catch (const std::bad_alloc&) {
    return {};
  }
}

void Sequence::list_backups() {
  if (!report_.changed) return;
  // The backup and the snapshot have the same records.
  for (const std::string& file : {report_.backup, report_.snapshot}) {
    if (!file.empty()) report_.backups.push_back({file, report_.from, dry_run_.outcome().counts});
  }
  for (const Backup& other : backups_after_upgrade()) report_.backups.push_back(other);
  // An earlier conversion may have deleted a part of the records: then a file with all of these and more is better. A
  // file without some of them may belong to another store.
  auto best = report_.backups.begin();
  for (auto other = best; other != report_.backups.end(); ++other) {
    if (has_less(*best, *other) && has_all_keys(other->file, dry_run_.before())) best = other;
  }
  report_.next = next_step(best == report_.backups.end() ? nullptr : &*best);
}

}  // namespace vrrpconvert
