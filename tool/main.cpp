// vrrpconvert: the operator's tool over libconvertvrrp. Only this file prints errors and ends the process.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <new>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "tool/commands/commands.h"
#include "tool/store/store.h"
#include "tool/support/interrupt.h"
#include "tool/support/json_report.h"
#include "tool/support/printable.h"

using namespace vrrpconvert;

namespace {

constexpr char exit_codes[] =
    "Exit codes: 0 done, no difference; 1 differences, problems, or a loss that was not allowed; 2 usage;\n"
    "3 missing, damaged or foreign input; 4 store in use; 5 I/O or no space, nothing changed; 6 unknown outcome;\n"
    "7 some records failed, or would; 130 interrupted";

enum class Effect { reads, changes };

// The command line: the commands with their options, and what it asks for.
class CommandLine {
 public:
  CommandLine(JsonReport& report, Effect& effect) : report_(report), effect_(effect) {
    app_.require_subcommand(0, 1);  // none is an error of ours
    app_.footer(exit_codes);
    app_.set_version_flag("--version", "vrrpconvert " CONVERTVRRP_VERSION);
    add_import();
    add_export();
    add_show();
    add_check();
    add_diff();
    add_convert();
    add_restore();
    add_fleet();
  }

  // Returns whether there is a command to run, and not only help that was printed. Throws Error.
  bool parse(int argc, char** argv) {
    if (argc > 1 && *argv[1] != '-') check_command(argv[1]);
    try {
      app_.parse(argc, argv);
    } catch (const CLI::Success& help) {
      app_.exit(help);
      return false;
    } catch (const CLI::ParseError& error) {
      const auto named = app_.get_subcommands();
      throw Error(exit_usage, std::string(error.what()) + "\nRun with --help for more information: vrrpconvert " +
                                  (named.empty() ? "" : named.front()->get_name() + " ") + "--help");
    }
    if (!chosen_) check_command("");
    return true;
  }

  Exit run() const { return chosen_(); }

 private:
  template <typename Options>
  CLI::App* add_command(const char* name, Effect effect, const char* summary, Options& options,
                        Exit (*command)(const Options&), const char* example) {
    CLI::App* added = app_.add_subcommand(name, summary);
    added->callback([this, &options, command, effect] {
      chosen_ = [&options, command] { return command(options); };
      effect_ = convert_.dry_run ? Effect::reads : effect;
    });
    added->footer(std::string("Example:\n  ") + example);
    return added;
  }

  template <typename Options>
  void add_json(CLI::App* command, Options& options) {
    command->add_flag_callback(
        "--json", [this, &options] { options.json = &report_; }, "Print one JSON object, for scripts");
  }

  static void add_reveal(CLI::App* command, bool& reveal) {
    command->add_flag("--reveal", reveal, "Show authentication keys");
  }

  static void add_accept_loss(CLI::App* command, std::set<std::string>& accepted) {
    command
        ->add_option_function<std::vector<std::string>>(
            "--accept-loss",
            [&accepted](const std::vector<std::string>& names) { accepted.insert(names.begin(), names.end()); },
            "Losing values of these fields is no reason to refuse; \"record\" stands for whole records")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("FIELD[,FIELD]");
  }

  void add_import() {
    CLI::App* command = add_command("import", Effect::changes, "Create a store from lines of JSON, one record a line",
                                    import_, import_store, "vrrpconvert import vrrp-cfg_runtime_config records.jsonl");
    command->add_option("STORE", import_.store, "The store to create")->required();
    command->add_option("FILE", import_.file, "The lines; standard input when not given or -");
    command->add_flag("--force", import_.force, "Replace an existing store");
    add_json(command, import_);
  }

  void add_export() {
    CLI::App* command = add_command(
        "export", Effect::reads, "Write the records of a store as lines of JSON, authentication keys included", export_,
        export_store, "vrrpconvert export -o records.jsonl vrrp-cfg_runtime_config");
    command->add_option("STORE", export_.store, "The store to read")->required();
    command->add_option("-o,--output", export_.output, "Write to this new file, which only you can read");
    command->add_flag("--raw", export_.raw, "Write every record as the hexadecimal digits of its key and value");
  }

  void add_show() {
    CLI::App* command = add_command("show", Effect::reads, "Show the records of a store as tables", show_, show,
                                    "vrrpconvert show --kind vr vrrp-cfg_runtime_config");
    command->add_option("STORE", show_.store, "The store to read")->required();
    command->add_option("--kind", show_.kind, "Only records of this kind")
        ->check(CLI::IsMember({"vr", "ip_assoc", "global_info", "track", "other"}));
    add_reveal(command, show_.reveal);
    add_json(command, show_);
  }

  void add_check() {
    CLI::App* command = add_command("check", Effect::reads,
                                    "Check that a store is consistent, of one layout, and readable by a release",
                                    check_, check, "vrrpconvert check --release '4.1(2)' vrrp-cfg_runtime_config");
    command->add_option("STORE", check_.store, "The store to read")->required();
    command->add_option("--release", check_.release, "The release that is to read it, as 4.2(1)");
    add_json(command, check_);
  }

  void add_diff() {
    CLI::App* command =
        add_command("diff", Effect::reads, "Show which records and fields differ between two stores", diff_, diff,
                    "vrrpconvert diff vrrp-cfg_runtime_config.from-4.2-1 vrrp-cfg_runtime_config");
    command->add_option("A", diff_.a, "One store")->required();
    command->add_option("B", diff_.b, "The other")->required();
    command->add_flag("--ignore-layout", diff_.ignore_layout, "Compare only the fields that both layouts have");
    add_reveal(command, diff_.reveal);
    add_json(command, diff_);
  }

  void add_convert() {
    ConvertOptions& options = convert_;
    CLI::App* command = add_command(
        "convert", Effect::changes, "Convert the store in a directory from one release to another", options, convert,
        "vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --dry-run\n"
        "  vrrpconvert convert /flash --from '4.2(1)' --to '4.1(2)' --allow-loss --trace trace.log");
    command->add_option("DIR", options.directory, "The directory that holds vrrp-cfg_runtime_config")->required();
    command->add_option("--from", options.from, "The release that wrote the store, as 4.2(1)")->required();
    command->add_option("--to", options.to, "The release that will read it")->required();
    CLI::Option* vdc = command->add_option("--vdc", options.vdc, "The number of the store's VDC")
                           ->check(CLI::Range(1, 65535).description(""))
                           ->type_name("N")
                           ->capture_default_str();
    command
        ->add_flag("--startup", options.startup,
                   "Inspect DIR/bin/vrrp-cfg_config_sav, the saved startup store, instead")
        ->excludes(vdc);
    CLI::Option* dry_run = command->add_flag("--dry-run", options.dry_run,
                                             "Change nothing: show what would change and what would be lost");
    command->add_flag("--summary", options.summary, "Do not list every record that would change");
    add_accept_loss(command, options.accepted);
    command->add_flag("--allow-loss", options.allow_loss, "Convert although anything is lost or would fail");
    command->add_flag("--allow-mismatch", options.allow_mismatch,
                      "Convert although the releases contradict the layout of the records");
    command->add_flag_callback(
        "--no-backup", [&options] { options.backup = false; }, "Keep no copy of the store beside it");
    command->add_option("--trace", options.trace, "Append the library's trace lines to this file")->excludes(dry_run);
    command
        ->add_option("--root", options.root, "The directory that stands for a device's /; its tmp takes the snapshot")
        ->envname("PSS_NONVOLATILE_ROOT");
    add_reveal(command, options.reveal);
    add_json(command, options);
  }

  void add_fleet() {
    CLI::App* command =
        add_command("fleet", Effect::reads, "Show what a conversion would mean for many devices: a dry run of each",
                    fleet_, fleet, "vrrpconvert fleet devices --from '4.2(1)' --to '4.1(2)' --html overview.html");
    command->add_option("PATH", fleet_.paths, "Directories that hold a vrrp-cfg_runtime_config a device, at any depth")
        ->required();
    CLI::Option* reports = command->add_flag("--reports", fleet_.reports,
                                             "Read reports of convert --dry-run --json below PATH, no stores");
    command->add_option("--from", fleet_.from, "The release that wrote the stores, as 4.2(1)")->excludes(reports);
    command->add_option("--to", fleet_.to, "The release that will read them")->excludes(reports);
    add_accept_loss(command, fleet_.accepted);
    fleet_.jobs = std::max(1u, std::thread::hardware_concurrency());
    command->add_option("--jobs", fleet_.jobs, "How many at a time")
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--html", fleet_.html, "Write the overview to this new file, one page for a change ticket");
    add_json(command, fleet_);
  }

  void add_restore() {
    CLI::App* command =
        add_command("restore", Effect::changes, "Put a copy or a snapshot of a store back in its place, in one step",
                    restore_, restore, "vrrpconvert restore /tmp/vrrp-pss vrrp-cfg_runtime_config");
    command->add_option("COPY", restore_.copy, "The copy or snapshot; it is checked first, and stays")->required();
    command->add_option("STORE", restore_.store, "The store that it replaces")->required();
    command->add_flag_callback("--no-backup", [this] { restore_.backup = false; }, "Keep nothing of what it replaces");
    add_json(command, restore_);
  }

  // Answers a mistyped command with a near one, or with all.
  void check_command(const std::string& word) const {
    std::string near, all;
    for (const CLI::App* command : app_.get_subcommands(nullptr)) {
      const std::string& name = command->get_name();
      if (name == word) return;
      if (distance(word, name) <= 2 && (near.empty() || distance(word, name) < distance(word, near))) near = name;
      all += (all.empty() ? "" : ", ") + name;
    }
    const std::string problem = word.empty() ? "no command is given; " : word + ": there is no such command; ";
    throw Error(exit_usage, problem + (near.empty() ? "expected one of " + all : "did you mean " + near + "?"));
  }

  // How many letters have to be changed, added or removed to make one word the other.
  static size_t distance(const std::string& one, const std::string& other) {
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

  CLI::App app_{"Converts the stored VRRP configuration of a device that changes its software release", "vrrpconvert"};
  JsonReport& report_;
  std::function<Exit()> chosen_;
  Effect& effect_;  // of the command that was chosen
  ImportOptions import_;
  ExportOptions export_;
  ShowOptions show_;
  CheckOptions check_;
  DiffOptions diff_;
  ConvertOptions convert_;
  RestoreOptions restore_;
  FleetOptions fleet_;
};

// Whether the reader of standard output went away.
bool is_output_unread() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

Exit run(JsonReport& report, Effect& effect, int argc, char** argv) {
  CommandLine command_line(report, effect);
  if (!command_line.parse(argc, argv)) return exit_done;
  set_nonvolatile_root("/");
  const Exit code = command_line.run();
  std::cout.flush();
  return code;
}

// Errors go to standard error, and to scripts that asked for JSON as an object too.
int fail(const Error& error, JsonReport* report) {
  std::cout.exceptions(std::ios::goodbit);  // what it could not write has been reported, and cerr flushes it
  std::cerr << "vrrpconvert: " << printable_lines(error.what()) << '\n';
  if (report != nullptr) report->fail(error);
  std::cout.flush();
  return error.exit_code;
}

// Standard output could not be written. A command that only reads ends as one that SIGPIPE ends, when it is a pipe that
// has no reader any more.
int fail_to_write(Effect effect) {
  if (effect == Effect::changes) {
    return fail(
        {exit_unknown, "the report is cut short, because standard output cannot be written; run check on the store"},
        nullptr);
  }
  if (is_output_unread()) {
    signal(SIGPIPE, SIG_DFL);
    raise(SIGPIPE);
  }
  return fail({exit_io, "standard output cannot be written to its end; the output is cut short"}, nullptr);
}

// A store that is opened while one of these is closed would get its number, and with it what is printed. What stands in
// for it cannot be read or written either.
void open_standard_files() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) < 0) (void)open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_files();
  std::ios::sync_with_stdio(false);  // reports are long, and nothing here uses stdio
  note_interrupts();
  JsonReport report;
  Effect effect = Effect::reads;
  const bool as_json = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
  try {
    std::cout.exceptions(std::ios::badbit);
    return run(report, effect, argc, argv);
  } catch (const Error& error) {
    return fail(error, as_json ? &report : nullptr);
  } catch (const std::ios_base::failure&) {
    return fail_to_write(effect);
  } catch (const std::bad_alloc&) {
    return effect == Effect::changes
               ? fail({exit_unknown, "out of memory; see with check what became of the store", "no_memory"}, nullptr)
               : fail({exit_io, "out of memory", "no_memory"}, nullptr);
  } catch (const std::exception& error) {
    return fail({effect == Effect::changes ? exit_unknown : exit_io, error.what()}, as_json ? &report : nullptr);
  }
}
