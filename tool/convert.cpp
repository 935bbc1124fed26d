#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <iomanip>
#include <iostream>

#include "platform/syserr.h"
#include "tool/census.h"
#include "tool/conversion.h"
#include "tool/difference.h"
#include "tool/interrupt.h"
#include "tool/private_folder.h"
#include "tool/verbs.h"
#include "tool/verdict.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

const char* name_of(Change change) {
  return change == Change::upgrade ? "upgrade" : change == Change::downgrade ? "downgrade" : "none";
}

// ---- What is to be done ----

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

// ---- Rehearsal: the same conversion, by the same library, on a private copy ----

class Rehearsal {
 public:
  explicit Rehearsal(const Conversion& real) : workplace_(fs::temp_directory_path()), rehearsed_(real) {
    {
      const Store store(real.store());
      rehearsed_.root = workplace_.path() / "root";
      fs::create_directories(rehearsed_.store().parent_path());
      fs::create_directories(rehearsed_.root / "tmp");
      // From here on the private folder is what the platform knows.
      set_nonvolatile_root("/");
      store.write_copy(before());
      store.write_copy(after());
      records_ = store.count();
    }
    run_ = run_conversion(rehearsed_, Trace::kept_private, "", 0);
    if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
    if (!run_.answered) {
      throw Error(exit_unknown, "the library died on a copy of the store; nothing was changed");
    }
  }

  fs::path before() const { return workplace_.path() / "before"; }  // the store as it is
  fs::path after() const { return rehearsed_.store(); }             // as it would be
  size_t records() const { return records_; }
  const Run& run() const { return run_; }

 private:
  PrivateFolder workplace_;
  Conversion rehearsed_;
  Run run_;
  size_t records_ = 0;
};

struct Loss {
  std::string store_key, record, field, value;  // `field` is empty where the whole record goes
};

struct Plan {
  std::vector<Difference> changes;
  std::vector<Loss> losses;
};

Plan plan_of(const Rehearsal& rehearsal, bool reveal) {
  Plan plan;
  const Store before(rehearsal.before()), after(rehearsal.after());
  for_each_difference(before, after, [&](const Difference& difference) {
    plan.changes.push_back(difference);
    if (!difference.before) return;
    const std::string key = hex_of(difference.before->key), name = vrrpconvert::name_of(*difference.before);
    if (!difference.after) {
      plan.losses.push_back({key, name, "", ""});
      return;
    }
    for (const FieldChange& change : field_changes(difference, reveal)) {
      if (change.loses_value) plan.losses.push_back({key, name, change.field, change.before});
    }
  });
  return plan;
}

// ---- Copy of the store as it was ----

// A name beside the store that carries the source release, and that nothing has yet.
fs::path free_copy_name(const fs::path& store, const Release& from, unsigned attempt) {
  std::string release = from.text;
  for (char& letter : release) {
    if (letter == '(') letter = '-';
  }
  release.erase(release.find(')'));
  return store.string() + ".from-" + release + (attempt == 1 ? "" : "." + std::to_string(attempt));
}

fs::path keep_copy(const fs::path& copy, const fs::path& store, const Release& from) {
  const PrivateFolder workplace(store.parent_path());
  const fs::path made = workplace.path() / "copy";
  Store(copy).write_copy(made);
  for (unsigned attempt = 1;; ++attempt) {
    const fs::path name = free_copy_name(store, from, attempt);
    if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0) return name;
    if (errno != EEXIST) throw Error(exit_io, name.string() + ": no copy can be kept: " + strerror(errno));
  }
}

// The file at `path` as it is now; a snapshot that is taken anew is another file.
ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// ---- Report ----

// All that a conversion can tell; what is empty did not come about.
struct Report {
  const ConvertOptions& options;
  const Conversion& conversion;
  const Plan& plan;
  Exit exit = exit_done;
  bool refused = false;
  std::optional<Verdict> verdict;
  fs::path snapshot, copy;
  std::string problem, next;
};

Json json_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

void print_json(const Report& report) {
  Json changes = Json::array(), losses = Json::array();
  for (const Difference& change : report.plan.changes) {
    changes.push_back(json_of_difference(change, report.options.reveal));
    changes.back()["change"] = change.is_change() ? "changed" : change.before ? "removed" : "added";
  }
  for (const Loss& loss : report.plan.losses) {
    losses.push_back({{"store_key", loss.store_key},
                      {"record", loss.record},
                      {"field", json_or_null(loss.field)},
                      {"value", json_or_null(loss.value)}});
  }
  std::cout << Json({{"schema", 1},
                     {"store", report.conversion.store().string()},
                     {"from", report.conversion.from.text},
                     {"to", report.conversion.to.text},
                     {"change", name_of(report.conversion.change())},
                     {"dry_run", report.options.dry_run},
                     {"refused", report.refused},
                     {"changes", changes},
                     {"losses", losses},
                     {"outcome", report.verdict ? report.verdict->json() : Json()},
                     {"snapshot", json_or_null(report.snapshot.string())},
                     {"copy", json_or_null(report.copy.string())},
                     {"problem", json_or_null(report.problem)},
                     {"next", json_or_null(report.next)}})
                   .dump()
            << '\n';
}

void print_losses(const Plan& plan) {
  for (const Loss& loss : plan.losses) {
    if (loss.field.empty()) {
      std::cout << "  " << loss.record << "  (key " << loss.store_key << "): the whole record\n";
    } else {
      std::cout << "  " << loss.record << "  (key " << loss.store_key << "): " << loss.field << " = " << loss.value
                << '\n';
    }
  }
}

void print_verdict(const Verdict& verdict) {
  const struct {
    const char* label;
    size_t count;
  } rows[] = {{"converted", verdict.converted},
              {"deleted", verdict.deleted},
              {"added", verdict.added},
              {"left alone", verdict.left_alone},
              {"failed", verdict.failed.size()}};
  for (const auto& row : rows) {
    std::cout << "  " << std::left << std::setw(11) << row.label << std::right << std::setw(8) << row.count << '\n';
  }
  for (const FailedRecord& record : verdict.failed) {
    std::cout << "failed: " << record.record << "  (key " << record.store_key << "): " << record.reason << '\n';
  }
}

void print_text(const Report& report) {
  std::cout << report.conversion.store().string() << ": " << report.conversion.from.text << " to "
            << report.conversion.to.text << ": "
            << (report.conversion.change() == Change::none ? "no conversion, the store is left as it is"
                                                           : name_of(report.conversion.change()))
            << '\n';
  if (report.options.dry_run) {
    for (const Difference& change : report.plan.changes) print_difference(change, report.options.reveal);
    std::cout << "Records that would change: " << report.plan.changes.size() << ". Nothing was changed.\n";
  }
  if ((report.options.dry_run || report.refused) && !report.plan.losses.empty()) {
    std::cout << "Would be lost:\n";
    print_losses(report.plan);
  }
  if (report.verdict) print_verdict(*report.verdict);
  if (!report.snapshot.empty()) std::cout << "Snapshot of the library: " << report.snapshot.string() << '\n';
  if (!report.copy.empty()) std::cout << "Copy of the store as it was: " << report.copy.string() << '\n';
  if (!report.next.empty()) std::cout << "Next: " << report.next << '\n';
}

Exit finish(const Report& report) {
  report.options.json ? print_json(report) : print_text(report);
  if (!report.problem.empty()) std::cerr << "vrrpconvert: " << report.problem << '\n';
  return report.exit;
}

// ---- The conversion itself ----

size_t expected_lines(Change change, size_t records) {
  return change == Change::none ? 0 : change == Change::upgrade ? 2 * records : records;
}

// Looks at the store after the run, and says what became of it and what to do.
void judge_run(const Run& run, const Rehearsal& rehearsal, Report& report) {
  const Change change = report.conversion.change();
  const fs::path file = report.conversion.store();
  set_nonvolatile_root("/");
  forget_interrupt();
  const Store before(rehearsal.before()), after(file);
  bool is_as_it_was = true;
  for_each_difference(before, after, [&is_as_it_was](const Difference&) { is_as_it_was = false; });
  if (run.interrupted && is_as_it_was) throw Error(exit_interrupted, "interrupted; the store is as it was");

  report.verdict = judge(change, before, after, run.messages);
  const std::string go_back =
      "to go back: vrrpconvert restore " +
      (report.copy.empty() ? report.snapshot.empty() ? "COPY" : report.snapshot.string() : report.copy.string()) + " " +
      file.string();
  if (!run.answered && is_as_it_was) {
    report.exit = exit_unknown;
    report.problem = "the library died; the store is as it was";
  } else if (run.result != 0) {
    report.exit = exit_bad_input;
    char status[16];
    snprintf(status, sizeof status, "0x%x", run.result);
    report.problem = std::string("the library answered ") + status + " (" + syserr2str(run.result) + ")";
  } else if (!report.verdict->failed.empty() && is_as_it_was) {
    report.exit = exit_io;
    report.problem = "nothing was changed: " + report.verdict->failed.front().reason;
  } else if (!report.verdict->failed.empty()) {
    report.exit = exit_some_failed;
    report.problem = "not every record is in the state that it should be in; failed: " +
                     std::to_string(report.verdict->failed.size());
    report.next = go_back;
  } else if (change == Change::upgrade && report.snapshot.empty() && !is_as_it_was) {
    report.exit = exit_some_failed;
    report.problem = report.conversion.snapshot().string() + ": the library could not take its snapshot";
    report.next = go_back;
  } else if (!is_as_it_was) {
    report.next = (change == Change::upgrade ? "configure VRRP anew under " : "start ") + report.conversion.to.text +
                  "; or " + go_back;
  }
}

}  // namespace

Exit convert(const ConvertOptions& options) {
  const Conversion conversion = conversion_for(options);
  const Rehearsal rehearsal(conversion);
  const Plan plan = plan_of(rehearsal, options.reveal);
  Report report = {options, conversion, plan, exit_done, false, std::nullopt, {}, {}, {}, {}};
  report.refused = !plan.losses.empty() && !options.allow_loss;
  if (report.refused) report.exit = exit_found;
  if (options.dry_run) return finish(report);
  if (report.refused) {
    report.problem = "refused, because this would be lost; nothing was changed. To convert all the same: --allow-loss";
    return finish(report);
  }

  if (conversion.root != "/") fs::create_directory(conversion.root / "tmp");  // where a device has one
  if (options.backup && !plan.changes.empty())
    report.copy = keep_copy(rehearsal.before(), conversion.store(), conversion.from);
  const ino_t earlier_snapshot = file_number(conversion.snapshot());
  const Run run = run_conversion(conversion, options.trace.empty() ? Trace::as_always : Trace::to_file, options.trace,
                                 expected_lines(conversion.change(), rehearsal.records()));
  if (conversion.change() == Change::upgrade && file_number(conversion.snapshot()) != earlier_snapshot) {
    report.snapshot = conversion.snapshot();
  }
  judge_run(run, rehearsal, report);
  return finish(report);
}

}  // namespace vrrpconvert
