#include <iostream>
#include <new>

#include "platform/syserr.h"
#include "tool/commands/commands.h"
#include "tool/commands/conversion_report.h"
#include "tool/conversion/kept_copy.h"
#include "tool/store/store.h"
#include "tool/support/interrupt.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

Conversion conversion_for(const ConvertOptions& options) {
  Conversion conversion;
  conversion.from = parse_release("--from", options.from);
  conversion.to = parse_release("--to", options.to);
  conversion.vdc = options.vdc;
  conversion.startup = options.startup;
  conversion.root = existing_directory(options.root.empty() ? "/" : options.root);
  std::error_code ignored;
  if (fs::is_regular_file(options.directory, ignored)) {
    const fs::path directory = fs::path(options.directory).parent_path();
    throw Error(exit_usage, options.directory + " is a file; expected its directory, " +
                                (directory.empty() ? "." : directory.string()));
  }
  conversion.path = device_path(conversion.root, existing_directory(options.directory), options.startup);
  return conversion;
}

// A path as a shell takes it.
std::string quoted(const fs::path& path) {
  std::string text = path.string();
  if (text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:,@%") ==
      std::string::npos) {
    return text;
  }
  std::string quoted = "'";
  for (const char letter : text) quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
  return quoted + "'";
}

void make_snapshot_directory(const Conversion& conversion) {
  if (conversion.change() != Change::upgrade || conversion.root == "/") return;
  const fs::path directory = conversion.snapshot().parent_path();
  std::error_code error;
  fs::create_directory(directory, error);  // where a device has one
  if (error) throw Error(exit_io, directory.string() + ": cannot be created: " + error.message());
}

// Whether the snapshot that the upgrade takes would meet another store's, or anything else that is not the same.
bool meets_other_snapshot(const Report& report) {
  if (report.conversion.change() != Change::upgrade || !is_taken(report.conversion.snapshot())) return false;
  try {
    return Store(report.conversion.snapshot(), no_wait).digest() != report.dry_run.before().digest();
  } catch (const Error&) {
    return true;  // what cannot be read is something else
  }
}

// Runs the library on the store itself, with a copy of it kept beside it.
Run run_on_store(Report& report) {
  const ConvertOptions& options = report.options;
  const Conversion& conversion = report.conversion;
  if (!options.trace.empty()) create_trace_file(options.trace);
  make_snapshot_directory(conversion);
  if (options.backup && conversion.change() != Change::none) {
    report.copy = keep_copy(report.dry_run.before(), conversion.store(), conversion.from);
  }
  const Trace trace = options.trace.empty() ? Trace::device_log : Trace::to_file;
  const Run run = run_conversion(
      conversion, {report.dry_run.before().digest(), trace, options.trace, report.dry_run.run().operations});
  if (run.has_snapshot) {
    report.snapshot = conversion.snapshot();
    report.earlier_snapshot = run.earlier_snapshot;
  }
  return run;
}

// Removes the copy of a store that was not changed: the store itself holds the same.
void drop_copy(Report& report) {
  std::error_code ignored;  // a copy that stays does no harm
  if (!report.copy.empty()) fs::remove(report.copy, ignored);
  report.copy.clear();
}

struct Problem {
  Exit exit = exit_done;
  std::string text{};
  const char* reason = reason_for(exit);
};

// Files that this process or an earlier one left where the conversion writes stores.
std::vector<fs::path> unfinished_files(const Conversion& conversion) {
  std::vector<fs::path> files = unfinished_files_in(conversion.store().parent_path());
  if (conversion.change() != Change::upgrade) return files;
  for (const fs::path& file : unfinished_files_in(conversion.snapshot().parent_path())) files.push_back(file);
  return files;
}

// Whether the library closed the store and so changed it durably.
bool is_closed(const Run& run) { return run.answered && run.closed && run.close_status == 0; }

// Compares the store after the run with what it was. Returns why nothing can be said of it, if nothing can.
Problem examine(const Run& run, Report& report) {
  try {
    const Store now(report.conversion.store());
    const StoreDigest digest = now.digest();
    report.is_as_it_was = digest == report.dry_run.before().digest();
    const bool is_converted = run.closed && digest == *run.closed;
    if (is_converted || (report.is_as_it_was && !is_closed(run))) {
      report.verdict = verdict_of(report.conversion.change(), report.dry_run.before(), now, run);
      return {};
    }
    return {exit_unknown,
            report.conversion.store().string() + ": " +
                (is_closed(run) ? "was converted, but another process" : "another process") +
                " replaced or changed it since; see with check which records it has",
            "replaced"};
  } catch (const Error& error) {
    report.is_as_it_was = false;
    if (!is_closed(run) || *run.closed != report.dry_run.after().digest()) {
      return {exit_unknown, std::string("unknown outcome, because the store cannot be read: ") + error.what()};
    }
    // The records that were closed are those of the dry run.
    report.verdict = verdict_of(report.conversion.change(), report.dry_run.before(), report.dry_run.after(), run);
    return {exit_unknown, std::string("was converted, but cannot be read again: ") + error.what()};
  } catch (const std::bad_alloc&) {
    report.verdict.reset();
    return {exit_unknown, "unknown outcome, because there is too little memory to compare the records; run check"};
  }
}

// What was not as it should be in a run, if anything.
Problem problem_of(const Run& run, const Report& report) {
  const auto& failed = report.verdict->failed;
  if (!run.answered) {
    return {exit_unknown, report.is_as_it_was
                              ? "the library died; the store is as it was"
                              : "the store is converted, but the library died; a power cut could still bring the old "
                                "records back"};
  }
  if (run.result != 0) {
    char status[16];
    snprintf(status, sizeof status, "0x%x", run.result);
    return {exit_bad_input, std::string("the library answered ") + status + " (" + syserr2str(run.result) + ")"};
  }
  // The dry run of the same conversion did change the copy.
  if (!failed.empty() && report.is_as_it_was && report.plan.changes > 0) {
    return {exit_io, "nothing was changed: " + failed.front().reason};
  }
  if (run.close_status != 0) {
    return {exit_unknown, std::string("the store is converted, but closing it failed: ") +
                              syserr2str(run.close_status) + "; a power cut could still bring the old records back"};
  }
  if (!failed.empty()) {
    return {exit_some_failed,
            "not every record is in the state that it should be in; failed: " + std::to_string(failed.size())};
  }
  return {};
}

std::string next_step(const Report& report) {
  if (report.is_as_it_was) return "";
  const fs::path& source = report.copy.empty() ? report.snapshot : report.copy;
  std::string back = source.empty() ? ""
                                    : "to go back to " + report.conversion.from.text + ": vrrpconvert restore " +
                                          quoted(source) + " " + quoted(report.conversion.store());
  if (report.exit != exit_done) return back;
  const char* start = report.conversion.change() == Change::upgrade ? "configure VRRP anew under " : "start ";
  return start + report.conversion.to.text + (back.empty() ? "" : "; or " + back);
}

// Runs the library on the store itself, and reports what became of it.
Exit convert_store(Report& report) {
  const Run run = run_on_store(report);
  if (run.was_changed) {
    drop_copy(report);
    throw Error(exit_in_use, report.conversion.store().string() +
                                 ": changed since it was looked at; nothing was changed; run it again");
  }
  if (run.answered && run.open_status != 0) {
    drop_copy(report);
    throw_store_error(report.conversion.store(), run.open_status);  // nothing was changed
  }
  ignore_interrupts();  // from here on the outcome has to be reported
  Problem problem = examine(run, report);
  report.unfinished = unfinished_files(report.conversion);
  if (problem.exit == exit_done && run.interrupted && report.is_as_it_was) {
    drop_copy(report);
    std::string text = "interrupted; the store is as it was";
    for (const fs::path& file : report.unfinished) text += "\n" + (unfinished_file_text + file.string());
    throw Error(exit_interrupted, text);
  }
  if (problem.exit == exit_done && run.snapshot_status != 0 && report.is_as_it_was) {
    drop_copy(report);
    throw Error(exit_io, report.conversion.snapshot().string() +
                             ": the snapshot cannot be written: " + syserr2str(run.snapshot_status) +
                             "; an upgrade deletes the records, so nothing was changed without it");
  }
  if (problem.exit == exit_done) problem = problem_of(run, report);
  if (problem.exit == exit_done && report.is_as_it_was) drop_copy(report);
  report.exit = problem.exit;
  if (problem.exit != exit_done) report.reason = problem.reason;
  report.problem = problem.text;
  report.next = next_step(report);
  try {
    if (report.conversion.change() == Change::upgrade && !report.is_as_it_was) {
      report.ways_back = ways_back(report.conversion.store(), report.conversion.snapshot());
    }
    return print(report);
  } catch (const Error& error) {
    throw Error(exit_unknown, std::string("the report is cut short; run check on the store: ") + error.what());
  }
}

// Why the plan alone is reason enough not to convert, if it is.
Problem objection_to(const Plan& plan, const ConvertOptions& options) {
  constexpr char start[] = "refused; nothing was changed: ";
  if (!plan.mismatch.empty() && !options.allow_mismatch) {
    return {plan.failures.empty() ? exit_found : exit_some_failed,
            start + plan.mismatch + "; to convert all the same: --allow-mismatch", "mismatch"};
  }
  if (!plan.failures.empty() && !options.allow_loss) {
    return {exit_some_failed, std::string(start) + "records would fail; to convert all the same: --allow-loss",
            "would_fail"};
  }
  if (!plan.lost.empty() && !options.allow_loss) {
    return {
        exit_found,
        std::string(start) +
            "values would be lost; to convert all the same: --allow-loss, or --accept-loss with the fields that may go",
        "loss"};
  }
  return {};
}

void refuse(Report& report, const Problem& objection) {
  report.refused = true;
  report.exit = objection.exit;
  report.reason = objection.reason;
  report.problem = objection.text;
}

// What a dry run says of a conversion that would not be refused: it can still leave records that failed.
void foretell(Report& report) {
  if (report.refused || report.plan.failures.empty()) return;
  report.exit = exit_some_failed;
  report.reason = "would_fail";
}

}  // namespace

Exit convert(const ConvertOptions& options) {
  check_accepted(options.accepted);
  const Conversion conversion = conversion_for(options);
  if (!options.trace.empty()) check_trace_file(conversion, options.trace);
  const DryRun dry_run(conversion);
  const Plan plan = plan_of(dry_run, conversion, options.accepted);
  Report report = {options, conversion, dry_run, plan};
  if (const Problem objection = objection_to(plan, options); objection.exit != exit_done) refuse(report, objection);
  if (options.dry_run) {
    report.problem.clear();  // nothing was asked for that could be refused
    foretell(report);
    return print(report);
  }
  if (report.refused) return print(report);
  if (conversion.change() == Change::upgrade && plan.changes == 0 && plan.failures.empty()) {
    report.next = "nothing to upgrade: the library was not run, so that an earlier snapshot stays";
    return print(report);
  }
  if (!options.backup && meets_other_snapshot(report)) {
    refuse(report,
           {exit_found,
            "refused; nothing was changed: " + conversion.snapshot().string() +
                " holds other records; convert without --no-backup, or name the device's own directory with --root",
            "other_snapshot"});
    return print(report);
  }
  return convert_store(report);
}

}  // namespace vrrpconvert
