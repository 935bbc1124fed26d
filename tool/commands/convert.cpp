#include <iomanip>
#include <iostream>
#include <span>

#include "tool/commands/commands.h"
#include "tool/conversion/sequence.h"
#include "tool/conversion/trace_file.h"
#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/store/paths.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct ConvertOptions {
  Request request{};
  std::string plan;  // file with the request; empty for the request of the command line
  bool is_dry_run = false;
  bool summary = false;  // do not list the changes
  std::string trace;     // file for the library's trace lines; empty for the device's log
  View view{};
  JsonReport* json = nullptr;
};

Conversion conversion_with_plan(const ConvertOptions& options) {
  const Request plan = read_plan(options.plan);
  const std::string& root = options.request.root;
  if (!root.empty() && existing_directory(root) != plan.root) {
    throw Error(Reason::usage, "--root: " + root + " differs from the root of the plan, " + plan.root +
                                   "; omit --root and unset PSS_NONVOLATILE_ROOT");
  }
  try {
    return Conversion(plan);
  } catch (const Error& error) {
    if (error.reason != Reason::usage) throw;
    throw Error(Reason::bad_report, name_of_plan(options.plan) + ": " + error.what() + "; run the dry run again");
  }
}

Conversion conversion_for(const ConvertOptions& options) {
  if (!options.plan.empty()) return conversion_with_plan(options);
  const Request& request = options.request;
  for (const auto& [name, value] :
       {std::pair("DIR", &request.directory), {"--from", &request.from}, {"--to", &request.to}}) {
    if (!value->empty()) continue;
    throw Error(Reason::usage, std::string(name) + ": missing; give DIR, --from and --to, or --plan");
  }
  return Conversion(request);
}

// Returns a store below a directory, or an empty path. Limits the search, because a whole file system would take too
// long.
fs::path store_below(const fs::path& directory) {
  constexpr int depth_max = 3;
  int entries_left = 10000;
  std::error_code error;
  for (fs::recursive_directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    if (at->path().filename() == running_store) return at->path();
    if (at.depth() == depth_max) at.disable_recursion_pending();
    if (--entries_left == 0) break;
  }
  return {};
}

// Performs the dry run. If there is no store, adds a store below the directory to the error.
Sequence begin(const Conversion& conversion) {
  try {
    return Sequence(conversion);
  } catch (const Error& error) {
    const bool is_searched = error.reason == Reason::missing && !conversion.request.startup;
    const fs::path store = is_searched ? store_below(conversion.request.directory) : "";
    if (store.empty()) throw;
    throw Error(error.reason, error.what() + ("; convert " + store.parent_path().string() + ", which contains a store"),
                error.store);
  }
}

// ---- JSON ----

void write_loss(JsonWriter& json, const Loss& loss, bool reveal) {
  json.begin_object();
  json.member("store_key", hex_of(loss.record.key));
  json.member("record", name_of(loss.record));
  write_identity(json, loss.record);
  json.member("field", or_null(loss.field != nullptr ? loss.name : ""));
  json.key("value");
  loss.field != nullptr ? write_field(json, *loss.field, loss.field->in(loss.record.value), reveal)
                        : json.value(nullptr);
  json.end();
}

// Writes the lists, which may be as long as the store.
void write_lists(JsonWriter& json, const DryRun& dry_run, const Defaults& defaults, const View& view) {
  json.key("changes");
  json.begin_list();
  for_each_difference(dry_run.before(), dry_run.after(),
                      [&](const Difference& difference) { write_difference(json, difference, view); });
  json.end();
  json.key("losses");
  json.begin_list();
  for_each_difference(dry_run.before(), dry_run.after(), [&](const Difference& difference) {
    for_each_loss(difference, defaults, [&](const Loss& loss) {
      if (loss.default_value.empty()) write_loss(json, loss, view.reveal);
    });
  });
  json.end();
  json.member("failures", Json(dry_run.outcome().failures));
}

void print_json(const ConversionReport& report, const Sequence& sequence, const Conversion& conversion,
                const ConvertOptions& options) {
  const Outcome outcome = report.outcome.value_or(Outcome());
  JsonWriter& json = options.json->begin();
  json.members(static_cast<const DryRunReport&>(report));
  if (report.dry_run) json.member("plan", or_null(sequence.plan()));
  json.members({{"outcome",
                 {{"changed", report.changed},
                  {"converted", outcome.converted},
                  {"deleted", outcome.deleted},
                  {"added", outcome.added.count},
                  {"unchanged", outcome.unchanged},
                  {"failures", outcome.failures}}},
                {"snapshot", or_null(report.snapshot)},
                {"earlier_snapshot", or_null(report.earlier_snapshot)},
                {"backup", or_null(report.backup)},
                {"backups", report.backups},
                {"unfinished_files", report.unfinished_files},
                {"next", or_null(report.next)}});
  if (!options.summary) write_lists(json, sequence.dry_run(), conversion.defaults, options.view);
  options.json->end(report.ending);
}

// ---- Text ----

void print_failures(const char* label, const std::vector<FailedRecord>& failures) {
  constexpr size_t shown_max = 10;
  for (const FailedRecord& record : std::span(failures).first(std::min(failures.size(), shown_max))) {
    std::cout << label << ": " << record.record << ": " << record.reason << '\n';
  }
  if (failures.size() > shown_max) {
    std::cout << label << ": " << failures.size() - shown_max << " more; --json lists all\n";
  }
}

void print_summary(const ConversionReport& report, const DryRun& dry_run, const ConvertOptions& options) {
  const Summary& summary = report.summary;
  if (report.dry_run) {
    if (!options.summary) {
      for_each_difference(dry_run.before(), dry_run.after(),
                          [&](const Difference& difference) { std::cout << text_of(difference, options.view); });
    }
    std::cout << "Records that would change: " << summary.change_count << ". Nothing was changed.\n";
  }
  if (report.change == name_of(Change::upgrade) && summary.change_count > 0) {
    std::cout << "The upgrade deletes all VRRP configuration except track records. Enter it again under " << report.to
              << ".\n";
  }
  if (summary.added.count > 0) std::cout << "Would be added: " << summary.added.text() << '\n';
  std::cout << text_of_lines(heading_of("lost"), summary.lost)
            << text_of_lines(heading_of("accepted"), summary.accepted)
            << text_of_lines(heading_of("defaults"), summary.defaults);
  if (summary.without_vr.count > 0 && summary.change_count > 0) {
    std::cout << "Track records that would have no VR configuration: " << summary.without_vr.text() << '\n';
  }
  print_failures("would fail", dry_run.outcome().failures);
}

void print_outcome(const Outcome& outcome) {
  const std::pair<const char*, size_t> rows[] = {{"converted", outcome.converted},
                                                 {"deleted", outcome.deleted},
                                                 {"added", outcome.added.count},
                                                 {"unchanged", outcome.unchanged},
                                                 {"failed", outcome.failures.size()}};
  for (const auto& [label, count] : rows) {
    std::cout << "  " << std::left << std::setw(11) << label << std::right << std::setw(8) << count << '\n';
  }
  if (outcome.added.count > 0) std::cout << "added: " << outcome.added.text() << '\n';
  print_failures("failed", outcome.failures);
}

void print_text(const ConversionReport& report, const DryRun& dry_run, const ConvertOptions& options) {
  if (!report.outcome) std::cout << styled_decision(report.decision) << '\n';
  std::cout << printable(report.store) << ": " << report.from << " to " << report.to << ": "
            << (report.change == name_of(Change::none) ? "no conversion, the store is unchanged" : report.change)
            << '\n';
  if (report.dry_run || report.refused) print_summary(report, dry_run, options);
  if (!report.summary.note.empty()) std::cout << "Note: " << report.summary.note << '\n';
  if (report.outcome) print_outcome(*report.outcome);
  const auto print_line = [](const char* label, const std::string& text) {
    if (!text.empty()) std::cout << label << printable(text) << '\n';
  };
  print_line(report.dry_run ? "Path of the snapshot: " : "Snapshot: ", report.snapshot);
  print_line("Earlier snapshot renamed to: ", report.earlier_snapshot);
  print_line(report.dry_run ? "Path of the backup: " : "Backup: ", report.backup);
  if (report.dry_run) {
    for (const Backup& other : report.backups) print_line("Has records that the store does not have: ", other.text());
  }
  for (const std::string& file : report.unfinished_files) print_line(unfinished_file_text, file);
  print_line("Next: ", report.next);
}

Exit convert(const ConvertOptions& options) {
  const Conversion conversion = conversion_for(options);
  if (!options.trace.empty()) check_trace_file(conversion, options.trace);
  Sequence sequence = begin(conversion);
  const ConversionReport report = options.is_dry_run ? sequence.foresee() : sequence.convert(options.trace);
  options.json != nullptr ? print_json(report, sequence, conversion, options)
                          : print_text(report, sequence.dry_run(), options);
  if (!report.ending.problem.empty()) std::cerr << "vrrpconvert: " << printable(report.ending.problem) << '\n';
  return report.ending.exit();
}

}  // namespace

void add_convert(CLI::App& app, Choice& choice) {
  Command command(app, choice, "convert", "Convert the store in a directory from one release to another",
                  "vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --dry-run\n"
                  "  vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --allow-loss --trace trace.log");
  const auto options = std::make_shared<ConvertOptions>();
  command.set_run([options] { return convert(*options); },
                  [options] { return options->is_dry_run ? Effect::reads : Effect::changes; });
  command.add_operand("DIR", options->request.directory, "Convert vrrp-cfg_runtime_config in this directory", false);
  command.add_text("--from", "RELEASE", options->request.from, "Convert from this release, for example 4.2(1)");
  command.add_text("--to", "RELEASE", options->request.to, "Convert to this release");
  command.add_text("--plan", "FILE", options->plan,
                   "Use the plan in this report of convert --dry-run --json (- is standard input)");
  command.add_number("--vdc", options->request.vdc, 65535, "Append this VDC number to the name of the snapshot");
  command.add_flag("--startup", options->request.startup,
                   "Inspect the saved startup store, DIR/bin/vrrp-cfg_config_sav, instead of the running store");
  command.exclude("--startup", "--vdc");
  command.add_flag("--dry-run", options->is_dry_run,
                   "Show the decision, the changes and the losses, and change nothing");
  command.add_flag("--summary", options->summary, "Do not list the changes");
  command.add_accept_loss(options->request.accepted);
  command.add_default_value(options->request.defaults);
  command.add_flag("--allow-loss", options->request.allow_loss,
                   "Convert even if values or records would be lost, or records would fail");
  command.add_flag("--allow-mismatch", options->request.allow_mismatch,
                   "Convert even if the layout of the records does not match --from and --to");
  command.add_flag("--no-backup", options->request.no_backup, "Do not write a backup next to the store");
  command.add_text("--trace", "FILE", options->trace, "Append the library's trace lines to this file");
  command.exclude("--trace", "--dry-run");
  command.add_text(
      "--root", "DIR", options->request.root,
      "Use this directory as the device's root (/); an upgrade writes the snapshot to tmp in this directory "
      "(default: the environment variable PSS_NONVOLATILE_ROOT, or /)");
  command.add_default("--root", "PSS_NONVOLATILE_ROOT");
  command.add_reveal(options->view.reveal);
  command.add_interfaces();
  command.add_json(options->json);
  for (const char* planned : {"DIR", "--from", "--to", "--vdc", "--startup", "--accept-loss", "--default",
                              "--allow-loss", "--allow-mismatch", "--no-backup"}) {
    command.exclude("--plan", planned);
  }
}

}  // namespace vrrpconvert
