// The commands of the tool. Each adds itself and its options to the command line; main runs the chosen one.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tool/conversion/defaults.h"
#include "tool/support/error.h"
#include "tool/support/json_report.h"

namespace CLI {
class App;
}

namespace vrrpconvert {

enum class Effect { reads, changes };

// What the command line asks for.
struct Choice {
  JsonReport report;  // on standard output

  // The chosen command; empty if none is. Prints its result on standard output and returns its exit status, or throws
  // Error if it cannot do what it is asked.
  std::function<Exit()> run{};
  Effect effect = Effect::reads;  // what the command does to a store
};

// A command on the command line. Values that are not given stay as they are, and last as long as the command can run.
class Command {
 public:
  Command(CLI::App& app, Choice& choice, const char* name, const char* summary, const char* example);

  // What to run, and what that does to a store.
  void set_run(std::function<Exit()> run, std::function<Effect()> effect);

  void add_operand(const char* name, std::string& value, const char* help, bool is_required = true);
  void add_operands(const char* name, std::vector<std::string>& values, const char* help);
  void add_flag(const char* name, bool& value, const char* help, bool given = true);
  void add_text(const char* name, std::string& value, const char* help, bool is_required = false);
  void add_number(const char* name, unsigned& value, unsigned most, const char* help);  // from 1
  void add_word(const char* name, std::string& value, const std::vector<std::string>& words, const char* help);

  // The value of an environment variable, unless the option is given.
  void add_default(const char* option, const char* variable);
  void exclude(const char* option, const char* other);

  // Options that several commands have. `json` is the report to write; null means text for users.
  void add_json(JsonReport*& json);
  void add_reveal(bool& reveal) { add_flag("--reveal", reveal, "Show authentication keys"); }
  void add_accept_loss(std::set<std::string>& accepted);
  void add_default_value(Defaults& defaults);

 private:
  CLI::App* app_;
  Choice& choice_;
};

// The options live as long as the command.
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

// Adds all commands and reads the command line. Returns false if help is all that it asks for; then that was printed.
// Throws Error.
bool parse_command_line(int argc, char** argv, Choice& choice);

}  // namespace vrrpconvert
