#include <sys/stat.h>

#include <iostream>

#include "platform/syserr.h"
#include "tool/conversion_report.h"
#include "tool/interrupt.h"
#include "tool/kept_copy.h"
#include "tool/rehearsal.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

fs::path root_for(const ConvertOptions& options) {
  const char* variable = getenv("PSS_NONVOLATILE_ROOT");
  if (!options.root.empty()) return existing_folder(options.root);
  return existing_folder(variable != nullptr && *variable != '\0' ? variable : "/");
}

// The library cuts a longer store URL at 255 characters; the cut one could name another store.
void check_url_length(const Conversion& conversion) {
  const size_t length = std::string("nonvolatile:" + conversion.path + "/" + conversion.store_name()).size();
  if (length > 255) {
    throw Error(exit_usage, conversion.path + ": the store's URL would have " + std::to_string(length) +
                                " characters, and 255 is the most; use --root to name a folder closer to the store");
  }
}

Conversion conversion_for(const ConvertOptions& options) {
  Conversion conversion;
  conversion.from = parse_release("--from", options.from);
  conversion.to = parse_release("--to", options.to);
  conversion.vdc = options.vdc;
  conversion.startup = options.startup;
  conversion.root = root_for(options);
  set_nonvolatile_root(conversion.root);
  conversion.path = nonvolatile_path(existing_folder(options.folder));
  check_url_length(conversion);
  return conversion;
}

// The file at `path` as it is now; a snapshot that is taken anew is another file.
ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

size_t expected_lines(Change change, size_t records) {
  return change == Change::none ? 0 : change == Change::upgrade ? 2 * records : records;
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

std::string way_back(const Report& report) {
  const fs::path& source = report.copy.empty() ? report.snapshot : report.copy;
  if (source.empty()) return "";
  return "to go back: vrrpconvert restore " + quoted(source) + " " + quoted(report.conversion.store());
}

// Says what was not as it should be, and with which exit code. `is_as_it_was`: the store holds what it held before.
void find_problem(const Run& run, bool is_as_it_was, Report& report) {
  const auto& failed = report.verdict->failed;
  if (!run.answered && is_as_it_was) {
    report.exit = exit_unknown;
    report.problem = "the library died; the store is as it was";
  } else if (run.result != 0) {
    report.exit = exit_bad_input;
    char status[16];
    snprintf(status, sizeof status, "0x%x", run.result);
    report.problem = std::string("the library answered ") + status + " (" + syserr2str(run.result) + ")";
  } else if (!failed.empty() && is_as_it_was && report.plan.changes > 0) {
    report.exit = exit_io;  // the rehearsal of the same conversion did change the copy
    report.problem = "nothing was changed: " + failed.front().reason;
  } else if (!failed.empty()) {
    report.exit = exit_some_failed;
    report.problem = "not every record is in the state that it should be in; failed: " + std::to_string(failed.size());
  } else if (report.conversion.change() == Change::upgrade && report.snapshot.empty()) {
    report.exit = exit_some_failed;
    report.problem = report.conversion.snapshot().string() + ": the library could not take its snapshot";
  }
}

// Looks at the store after the run, and says what became of it and what to do.
void judge_run(const Run& run, Report& report) {
  const Change change = report.conversion.change();
  const Store& before = report.rehearsal.before();
  const Store after(report.conversion.store());
  bool is_as_it_was = true;
  for_each_difference(before, after, [&is_as_it_was](const Difference&) { is_as_it_was = false; });
  if (run.interrupted && is_as_it_was) {
    std::error_code ignored;  // the copy is the same as the store
    fs::remove(report.copy, ignored);
    throw Error(exit_interrupted, "interrupted; the store is as it was");
  }
  report.verdict = judge(change, before, after, run);
  find_problem(run, is_as_it_was, report);
  if (is_as_it_was) return;
  report.next = way_back(report);
  if (report.exit != exit_done) return;
  const std::string start = change == Change::upgrade ? "configure VRRP anew under " : "start ";
  report.next = start + report.conversion.to.text + (report.next.empty() ? "" : "; or " + report.next);
}

void make_snapshot_folder(const Conversion& conversion) {
  if (conversion.change() != Change::upgrade || conversion.root == "/") return;
  std::error_code error;
  fs::create_directory(conversion.root / "tmp", error);  // where a device has one
  if (error) throw Error(exit_io, (conversion.root / "tmp").string() + ": cannot be created: " + error.message());
}

// Runs the library on the store itself, and finds out what became of it.
Exit convert_for_real(Report& report) {
  const ConvertOptions& options = report.options;
  const Conversion& conversion = report.conversion;
  make_snapshot_folder(conversion);
  if (options.backup && report.plan.changes > 0) {
    report.copy = keep_copy(report.rehearsal.before(), conversion.store(), conversion.from);
  }
  const ino_t earlier_snapshot = file_number(conversion.snapshot());
  const Run run = run_conversion(conversion, options.trace.empty() ? Trace::as_always : Trace::to_file, options.trace,
                                 expected_lines(conversion.change(), report.rehearsal.records()));
  if (conversion.change() == Change::upgrade && file_number(conversion.snapshot()) != earlier_snapshot) {
    report.snapshot = conversion.snapshot();
  }
  ignore_interrupts();  // from here on the outcome has to be told
  try {
    judge_run(run, report);
  } catch (const Error& error) {
    if (error.exit_code == exit_interrupted) throw;
    report.exit = exit_unknown;
    report.problem = std::string("the outcome is not known, because the store cannot be read: ") + error.what();
  }
  try {
    return print(report);
  } catch (const Error& error) {
    throw Error(exit_unknown,
                std::string("the report is cut short; see with check what is in the store: ") + error.what());
  }
}

}  // namespace

Exit convert(const ConvertOptions& options) {
  const Conversion conversion = conversion_for(options);
  if (!options.trace.empty()) check_trace_file(conversion, options.trace);
  const Rehearsal rehearsal(conversion);
  const Plan plan = plan_of(rehearsal, conversion.change());
  Report report = {options, conversion, rehearsal, plan, exit_done, false, std::nullopt, {}, {}, {}, {}};
  report.refused = !plan.is_harmless() && !options.allow_loss;
  if (report.refused) report.exit = exit_found;
  if (options.dry_run) return print(report);
  if (report.refused) {
    report.problem = "refused; nothing was changed. To convert although this would be lost or fail: --allow-loss";
    return print(report);
  }
  if (conversion.change() == Change::upgrade && plan.changes == 0 && plan.failures.empty()) {
    report.next = "nothing to upgrade: the library was not run, so that an earlier snapshot stays";
    return print(report);
  }
  return convert_for_real(report);
}

}  // namespace vrrpconvert
