#include <iomanip>
#include <iostream>
#include <span>

#include "tool/commands/commands.h"
#include "tool/conversion/plan.h"
#include "tool/conversion/sequence.h"
#include "tool/conversion/trace_file.h"
#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/store/files.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct ConvertOptions {
  std::string directory, from, to, root, plan;
  Defaults defaults{};
  unsigned vdc = 1;
  bool startup = false;
  bool summary = false;  // do not list the changes
  ConversionRequest request{};
  View view{};
  JsonReport* json = nullptr;
};

// Combines the options of the plan with the options of this command line that do not affect the conversion.
ConvertOptions with_plan(const ConvertOptions& given) {
  const Plan plan = read_plan(given.plan);
  if (!given.root.empty() && existing_directory(given.root) != plan.root) {
    throw Error(exit_usage, "--root: " + given.root + " differs from the root of the plan, " + plan.root +
                                "; omit --root and unset PSS_NONVOLATILE_ROOT");
  }
  ConvertOptions options = given;
  options.directory = plan.directory;
  options.root = plan.root;
  options.from = plan.from;
  options.to = plan.to;
  options.vdc = plan.vdc;
  options.startup = plan.startup;
  for (const std::string& text : plan.defaults) options.defaults.add(text);
  options.request.permissions = {{plan.accepted.begin(), plan.accepted.end()}, plan.allow_loss, plan.allow_mismatch};
  options.request.has_backup = plan.backup;
  options.request.approved = plan.hash;
  return options;
}

void require_all(const ConvertOptions& options) {
  for (const auto& [name, value] :
       {std::pair("DIR", &options.directory), {"--from", &options.from}, {"--to", &options.to}}) {
    if (value->empty()) throw Error(exit_usage, std::string(name) + ": missing; give DIR, --from and --to, or --plan");
  }
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

// Adds a store below the directory to the error of a directory without a store.
[[noreturn]] void throw_missing(const Error& error, const ConvertOptions& options) {
  const fs::path store = error.reason == "missing" && !options.startup ? store_below(options.directory) : "";
  const std::string hint =
      store.empty() ? "" : "; convert " + store.parent_path().string() + ", which contains a store";
  throw Error(error.exit_code, error.what() + hint, error.reason, error.store);
}

DryRun dry_run_of(const Conversion& conversion, const ConvertOptions& options) {
  try {
    return DryRun(conversion);
  } catch (const Error& error) {
    throw_missing(error, options);
  }
}

Conversion conversion_for(const ConvertOptions& options) {
  Conversion conversion;
  conversion.from = parse_release("--from", options.from);
  conversion.to = parse_release("--to", options.to);
  conversion.vdc = options.vdc;
  conversion.startup = options.startup;
  conversion.defaults = options.defaults;
  conversion.root = existing_directory(options.root.empty() ? "/" : options.root);
  std::error_code ignored;
  if (fs::is_regular_file(options.directory, ignored)) {
    const fs::path directory = fs::path(options.directory).parent_path();
    throw Error(exit_usage,
                options.directory + ": not a directory; use " + (directory.empty() ? "." : directory.string()));
  }
  conversion.path = device_path(conversion.root, existing_directory(options.directory), options.startup);
  return conversion;
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
      if (!loss.is_default) write_loss(json, loss, view.reveal);
    });
  });
  json.end();
  json.member("failures", Json(dry_run.outcome().failed));
}

void print_json(const ConversionReport& report, const Conversion& conversion, const DryRun& dry_run,
                const ConvertOptions& options) {
  JsonWriter& json = options.json->begin();
  const Json members = report;
  for (const auto& [name, value] : members.items()) {
    json.member(name, value);
    if (name != "summary") continue;
    if (report.dry_run) json.member("plan", plan_of(conversion, options.request, dry_run.before()));
    if (!options.summary) write_lists(json, dry_run, options.defaults, options.view);
    json.member("outcome", json_of_outcome(report));
  }
  if (!is_utf8(report.store)) json.member("store_hex", hex_of(std::string_view(report.store)));
  json.end();
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
    std::cout << "Records that would change: " << summary.changes << ". Nothing was changed.\n";
  }
  if (report.change == name_of(Change::upgrade) && summary.changes > 0) {
    std::cout << "The upgrade deletes all VRRP configuration except track records. Enter it again under " << report.to
              << ".\n";
  }
  if (summary.added.records > 0) std::cout << "Would be added: " << summary.added.text() << '\n';
  std::cout << text_of_lines("Would be lost", summary.lost)
            << text_of_lines("Would be lost, accepted", summary.accepted)
            << text_of_lines("Would be dropped, default values", summary.defaults);
  if (summary.without_vr.records > 0 && summary.changes > 0) {
    std::cout << "Track records that would have no VR configuration: " << summary.without_vr.text() << '\n';
  }
  print_failures("would fail", dry_run.outcome().failed);
}

void print_outcome(const Outcome& outcome) {
  const std::pair<const char*, size_t> rows[] = {{"converted", outcome.converted},
                                                 {"deleted", outcome.deleted},
                                                 {"added", outcome.added.records},
                                                 {"unchanged", outcome.unchanged},
                                                 {"failed", outcome.failed.size()}};
  for (const auto& [label, count] : rows) {
    std::cout << "  " << std::left << std::setw(11) << label << std::right << std::setw(8) << count << '\n';
  }
  if (outcome.added.records > 0) std::cout << "added: " << outcome.added.text() << '\n';
  print_failures("failed", outcome.failed);
}

void print_text(const ConversionReport& report, const DryRun& dry_run, const ConvertOptions& options) {
  if (!report.outcome) std::cout << printable(report.decision) << '\n';
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
  print_line(report.dry_run ? "Path of the backup: " : "Backup: ", report.copy);
  for (const std::string& file : report.unfinished_files) print_line(unfinished_file_text, file);
  print_line("Next: ", report.next);
}

Exit convert(const ConvertOptions& given) {
  const ConvertOptions options = given.plan.empty() ? given : with_plan(given);
  require_all(options);
  const Conversion conversion = conversion_for(options);
  if (!options.request.trace.empty()) check_trace_file(conversion, options.request.trace);
  const DryRun dry_run = dry_run_of(conversion, options);
  const ConversionReport report = convert_store(conversion, options.request, dry_run);
  options.json != nullptr ? print_json(report, conversion, dry_run, options) : print_text(report, dry_run, options);
  if (!report.problem.empty()) std::cerr << "vrrpconvert: " << printable(report.problem) << '\n';
  return static_cast<Exit>(report.exit);
}

}  // namespace

void add_convert(CLI::App& app, Choice& choice) {
  Command command(app, choice, "convert", "Convert the store in a directory from one release to another",
                  "vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --dry-run\n"
                  "  vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --allow-loss --trace trace.log");
  const auto options = std::make_shared<ConvertOptions>();
  command.set_run([options] { return convert(*options); },
                  [options] { return options->request.is_dry_run ? Effect::reads : Effect::changes; });
  command.add_operand("DIR", options->directory, "Convert vrrp-cfg_runtime_config in this directory", false);
  command.add_text("--from", "RELEASE", options->from, "Convert from this release, for example 4.2(1)");
  command.add_text("--to", "RELEASE", options->to, "Convert to this release");
  command.add_text("--plan", "FILE", options->plan,
                   "Use the plan in this report of convert --dry-run --json (- is standard input)");
  command.add_number("--vdc", options->vdc, 65535, "Convert the store of this VDC number");
  command.add_flag("--startup", options->startup,
                   "Inspect the saved startup store, DIR/bin/vrrp-cfg_config_sav, instead of the running store");
  command.exclude("--startup", "--vdc");
  command.add_flag("--dry-run", options->request.is_dry_run,
                   "Show the decision, the changes and the losses, and change nothing");
  command.add_flag("--summary", options->summary, "Do not list the changes");
  command.add_accept_loss(options->request.permissions.accepted);
  command.add_default_value(options->defaults);
  command.add_flag("--allow-loss", options->request.permissions.loss,
                   "Convert even if values or records would be lost, or records would fail");
  command.add_flag("--allow-mismatch", options->request.permissions.mismatch,
                   "Convert even if the layout of the records does not match --from and --to");
  command.add_flag("--no-backup", options->request.has_backup, "Do not write a backup next to the store", false);
  command.add_text("--trace", "FILE", options->request.trace, "Append the library's trace lines to this file");
  command.exclude("--trace", "--dry-run");
  command.add_text(
      "--root", "DIR", options->root,
      "Use this directory as the device's root (/); an upgrade writes the snapshot to tmp in this directory "
      "(default: the environment variable PSS_NONVOLATILE_ROOT, or /)");
  command.add_default("--root", "PSS_NONVOLATILE_ROOT");
  command.add_reveal(options->view.reveal);
  command.add_json(options->json);
  for (const char* planned : {"DIR", "--from", "--to", "--vdc", "--startup", "--accept-loss", "--default",
                              "--allow-loss", "--allow-mismatch", "--no-backup"}) {
    command.exclude("--plan", planned);
  }
}

}  // namespace vrrpconvert
