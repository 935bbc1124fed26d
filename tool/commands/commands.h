// The commands of the tool. Each command registers itself and its options; main() runs the selected one.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tool/support/json_report.h"

namespace CLI {
class App;
}

namespace vrrpconvert {

enum class Effect { reads, changes };

// The command line.
struct Choice {
  JsonReport report;  // on standard output

  // The selected command, or empty. Prints its result on standard output and returns its exit status, or throws Error.
  std::function<Exit()> run{};
  Effect effect = Effect::reads;  // effect of the command on a store
};

// A command on the command line. Options that are not given do not change their values. The values must exist as long
// as the command.
class Command {
 public:
  Command(CLI::App& app, Choice& choice, const char* name, const char* summary, const char* example);

  // Sets the function of the command and its effect on a store.
  void set_run(std::function<Exit()> run, std::function<Effect()> effect);

  void add_operand(const char* name, std::string& value, const char* help, bool is_required = true);
  void add_operands(const char* name, std::vector<std::string>& values, const char* help, bool is_required = true);
  void add_flag(const char* name, bool& value, const char* help, bool given = true);
  void add_text(const char* name, const char* value_name, std::string& value, const char* help);
  void add_number(const char* name, unsigned& value, unsigned most, const char* help);  // from 1
  void add_word(const char* name, std::string& value, const std::vector<std::string>& words, const char* help);

  // Uses an environment variable if the option is not given.
  void add_default(const char* option, const char* variable);
  void exclude(const char* option, const char* other);

  // Options that several commands have. `json` is the report for --json, or null for text.
  void add_json(JsonReport*& json);
  void add_reveal(bool& reveal) { add_flag("--reveal", reveal, "Show authentication keys"); }
  void add_interfaces();
  void add_accept_loss(std::vector<std::string>& accepted);
  void add_default_value(std::vector<std::string>& defaults);

 private:
  CLI::App* app_;
  Choice& choice_;
};

// The options exist as long as the command.
template <typename Options>
void run_with(Command& command, const std::shared_ptr<Options>& options, Exit (*run)(const Options&), Effect effect) {
  command.set_run([options, run] { return run(*options); }, [effect] { return effect; });
}

void add_import(CLI::App& app, Choice& choice);
void add_export(CLI::App& app, Choice& choice);
void add_show(CLI::App& app, Choice& choice);
void add_check(CLI::App& app, Choice& choice);
void add_diff(CLI::App& app, Choice& choice);
void add_convert(CLI::App& app, Choice& choice);
void add_restore(CLI::App& app, Choice& choice);
void add_fleet(CLI::App& app, Choice& choice);
void add_verify(CLI::App& app, Choice& choice);
void add_backup(CLI::App& app, Choice& choice);
void add_log(CLI::App& app, Choice& choice);
void add_status(CLI::App& app, Choice& choice);

// Registers all commands and parses the command line. Prints help and returns false if that is requested. Throws Error.
bool parse_command_line(int argc, char** argv, Choice& choice);

}  // namespace vrrpconvert
