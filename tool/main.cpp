// vrrpconvert: the operator's tool over libconvertvrrp. Only this file prints errors and ends the process.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

#include "tool/interrupt.h"
#include "tool/json_report.h"
#include "tool/verbs.h"

using namespace vrrpconvert;

namespace {

constexpr char exit_codes[] =
    "Exit codes: 0 done, no difference; 1 differences, problems, or a loss that was not allowed; 2 usage;\n"
    "3 missing, damaged or foreign input; 4 store in use; 5 I/O or no space, nothing changed; 6 outcome not known;\n"
    "7 some records failed; 130 interrupted";

// The verb that the command line asks for, and whether it changes stores.
std::function<Exit()> chosen;
bool changes_stores = false;

enum class Effect { reads, changes };

// Adds a verb whose options live as long as the process.
template <typename Options>
CLI::App* add_verb(CLI::App& app, const char* name, Effect effect, const char* summary, Options& options,
                   Exit (*verb)(const Options&), const char* example) {
  CLI::App* added = app.add_subcommand(name, summary);
  added->callback([&options, verb, effect] {
    chosen = [&options, verb] { return verb(options); };
    changes_stores = effect == Effect::changes;
  });
  added->footer(std::string("Example:\n  ") + example);
  return added;
}

void add_json(CLI::App* verb, bool& json) { verb->add_flag("--json", json, "Print one JSON object, for scripts"); }

void add_reveal(CLI::App* verb, bool& reveal) { verb->add_flag("--reveal", reveal, "Show authentication keys"); }

void add_import(CLI::App& app) {
  static ImportOptions options;
  CLI::App* verb = add_verb(app, "import", Effect::changes, "Create a store from lines of JSON, one record a line",
                            options, import_store, "vrrpconvert import vrrp-cfg_runtime_config records.jsonl");
  verb->add_option("STORE", options.store, "The store to create")->required();
  verb->add_option("FILE", options.file, "The lines; standard input when not given or -");
  verb->add_flag("--force", options.force, "Replace a store that is there already");
  add_json(verb, options.json);
}

void add_export(CLI::App& app) {
  static ExportOptions options;
  CLI::App* verb = add_verb(app, "export", Effect::reads,
                            "Write the records of a store as lines of JSON, authentication keys included", options,
                            export_store, "vrrpconvert export -o records.jsonl vrrp-cfg_runtime_config");
  verb->add_option("STORE", options.store, "The store to read")->required();
  verb->add_option("-o,--output", options.output, "Write to this new file, which only you can read");
  verb->add_flag("--raw", options.raw, "Write every record as the hexadecimal digits of its key and value");
}

void add_show(CLI::App& app) {
  static ShowOptions options;
  CLI::App* verb = add_verb(app, "show", Effect::reads, "Show the records of a store as tables", options, show,
                            "vrrpconvert show --kind vr vrrp-cfg_runtime_config");
  verb->add_option("STORE", options.store, "The store to read")->required();
  verb->add_option("--kind", options.kind, "Only records of this kind")
      ->check(CLI::IsMember({"vr", "ip_assoc", "global_info", "track", "other"}));
  add_reveal(verb, options.reveal);
  add_json(verb, options.json);
}

void add_check(CLI::App& app) {
  static CheckOptions options;
  CLI::App* verb =
      add_verb(app, "check", Effect::reads, "Tell whether a store is sound, of one layout, and readable by a release",
               options, check, "vrrpconvert check --release '4.1(2)' vrrp-cfg_runtime_config");
  verb->add_option("STORE", options.store, "The store to read")->required();
  verb->add_option("--release", options.release, "The release that is to read it, as 4.2(1)");
  add_json(verb, options.json);
}

void add_diff(CLI::App& app) {
  static DiffOptions options;
  CLI::App* verb =
      add_verb(app, "diff", Effect::reads, "Tell which records and fields differ between two stores", options, diff,
               "vrrpconvert diff vrrp-cfg_runtime_config.from-4.2-1 vrrp-cfg_runtime_config");
  verb->add_option("A", options.a, "One store")->required();
  verb->add_option("B", options.b, "The other")->required();
  add_reveal(verb, options.reveal);
  add_json(verb, options.json);
}

void add_convert(CLI::App& app) {
  static ConvertOptions options;
  CLI::App* verb = add_verb(
      app, "convert", Effect::changes, "Convert the store in a folder from one release to another", options, convert,
      "vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --dry-run\n"
      "  vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --allow-loss --trace trace.log");
  verb->add_option("DIR", options.folder, "The folder that holds vrrp-cfg_runtime_config")->required();
  verb->add_option("--from", options.from, "The release that wrote the store, as 4.2(1)")->required();
  verb->add_option("--to", options.to, "The release that will read it")->required();
  CLI::Option* vdc = verb->add_option("--vdc", options.vdc, "The number of the store's VDC")
                         ->check(CLI::Range(1, 65535).description(""))
                         ->type_name("N")
                         ->capture_default_str();
  verb->add_flag("--startup", options.startup, "Inspect DIR/bin/vrrp-cfg_config_sav, the saved startup store, instead")
      ->excludes(vdc);
  CLI::Option* dry_run =
      verb->add_flag("--dry-run", options.dry_run, "Change nothing: show what would change and what would be lost");
  verb->add_flag("--allow-loss", options.allow_loss, "Convert although something is lost or would fail");
  verb->add_flag_callback("--no-backup", [] { options.backup = false; }, "Keep no copy of the store beside it");
  verb->add_option("--trace", options.trace, "Append the library's trace lines to this file")->excludes(dry_run);
  verb->add_option("--root", options.root, "The folder that stands for a device's /; its tmp takes the snapshot");
  add_reveal(verb, options.reveal);
  add_json(verb, options.json);
}

void add_restore(CLI::App& app) {
  static RestoreOptions options;
  CLI::App* verb =
      add_verb(app, "restore", Effect::changes, "Put a copy or a snapshot of a store back in its place, in one step",
               options, restore, "vrrpconvert restore /tmp/vrrp-pss vrrp-cfg_runtime_config");
  verb->add_option("COPY", options.copy, "The copy or snapshot; it is checked first, and stays")->required();
  verb->add_option("STORE", options.store, "The store that it replaces")->required();
  add_json(verb, options.json);
}

// How many letters have to be changed, added or removed to make one word the other.
size_t distance(const std::string& one, const std::string& other) {
  std::vector<size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < one.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < other.size(); ++j) {
      const size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// Answers a mistyped verb with the nearest one.
void check_verb(const CLI::App& app, const std::string& word) {
  std::string nearest;
  for (const CLI::App* verb : app.get_subcommands(nullptr)) {
    const std::string& name = verb->get_name();
    if (name == word) return;
    if (nearest.empty() || distance(word, name) < distance(word, nearest)) nearest = name;
  }
  throw Error(exit_usage, word + ": there is no such verb; did you mean " + nearest + "?");
}

int run(int argc, char** argv) {
  CLI::App app("Converts the stored VRRP configuration of a device that changes its software release", "vrrpconvert");
  app.require_subcommand(1);
  app.footer(exit_codes);
  app.set_version_flag("--version", "vrrpconvert " CONVERTVRRP_VERSION);
  add_import(app);
  add_export(app);
  add_show(app);
  add_check(app);
  add_diff(app);
  add_convert(app);
  add_restore(app);
  if (argc > 1 && *argv[1] != '-') check_verb(app, argv[1]);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_done : exit_usage;
  }
  const Exit code = chosen();
  if (!std::cout.flush()) {
    throw changes_stores ? Error(exit_unknown,
                                 "the report is cut short, because standard output cannot be written; "
                                 "see with check what is in the store")
                         : Error(exit_io, "standard output cannot be written to its end; the output is cut short");
  }
  return code;
}

// Errors go to standard error, and to scripts that asked for JSON as an object too.
int report(const std::string& problem, Exit code, bool as_json) {
  std::cerr << "vrrpconvert: " << problem << '\n';
  if (as_json) JsonReport::fail(problem, code);
  std::cout.flush();
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);  // reports are long, and nothing here uses stdio
  note_interrupts();
  const bool as_json = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
  try {
    return run(argc, argv);
  } catch (const Error& error) {
    return report(error.what(), error.exit_code, as_json);
  } catch (const std::exception& error) {
    return report(error.what(), changes_stores ? exit_unknown : exit_io, as_json);
  }
}
