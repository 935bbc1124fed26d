#include <CLI/CLI.hpp>
#include <algorithm>
#include <iomanip>
#include <sstream>

#include "tool/commands/commands.h"
#include "tool/conversion/loss.h"
#include "tool/record/interface_names.h"
#include "tool/support/suggestion.h"

namespace vrrpconvert {
namespace {

// Returns the table of exit statuses.
std::string exit_statuses() {
  std::ostringstream text;
  text << "Exit status:";
  for (const ExitMeaning& known : exit_meanings())
    text << "\n  " << std::left << std::setw(5) << known.exit << known.text;
  return text.str();
}

void check_command(const CLI::App& app, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
  if (std::find(names.begin(), names.end(), word) != names.end()) return;
  const std::string problem = word.empty() ? "missing command; " : "unknown command \"" + word + "\"; ";
  throw Error(Reason::usage, problem + suggestion(word, names));
}

// Returns the message for a command line that CLI11 refuses.
std::string message_of(const CLI::ParseError& error, const CLI::App* command) {
  if (command == nullptr) return error.what();
  for (const std::string& word : command->remaining()) {
    const std::string name = word.substr(0, word.find('='));
    if (!name.starts_with("--")) continue;
    std::vector<std::string> names;
    for (const CLI::Option* option : command->get_options()) {
      if (!option->get_lnames().empty()) names.push_back("--" + option->get_lnames().front());
    }
    return "unknown option " + name + "; " + suggestion(name, names);
  }
  return error.what();
}

// Lists the words in a form that the shell completions read.
std::string braced(const std::vector<std::string>& words) {
  std::string text = "{";
  for (const std::string& word : words) text += (text.size() > 1 ? "," : "") + word;
  return text + "}";
}

// Help without the lists of excluded options, which are longer than the help, and in lines of less than 100 characters.
// The shell completions read it.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_positional() || option->get_type_size() == 0) return "";
    const std::string value = option->get_default_str();
    return ' ' + option->get_type_name() + (value.empty() ? "" : "=" + value);
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    constexpr size_t width = 69;
    std::string text = option->get_description();
    for (size_t start = 0; text.size() - start > width;) {
      const size_t end = text.find_last_of(" ,", start + width - 1);
      if (end == std::string::npos || end < start) break;  // a long word
      if (text[end] == ',') text.insert(end + 1, 1, ' ');
      start = text.find(' ', end) + 1;
      text[start - 1] = '\n';
    }
    return text;
  }
};

// Removes blanks around a word.
std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

Command::Command(CLI::App& app, Choice& choice, const char* name, const char* summary, const char* example)
    : app_(app.add_subcommand(name, summary)), choice_(choice) {
  app_->footer(std::string("Example:\n  ") + example);
}

void Command::set_run(std::function<Exit()> run, std::function<Effect()> effect) {
  app_->callback([&choice = choice_, run = std::move(run), effect = std::move(effect)] {
    choice.run = run;
    choice.effect = effect();
  });
}

void Command::add_operand(const char* name, std::string& value, const char* help, bool is_required) {
  app_->add_option(name, value, help)->required(is_required);
}

void Command::add_operands(const char* name, std::vector<std::string>& values, const char* help, bool is_required) {
  app_->add_option(name, values, help)->required(is_required);
}

void Command::add_flag(const char* name, bool& value, const char* help, bool given) {
  app_->add_flag_callback(name, [&value, given] { value = given; }, help);
}

void Command::add_text(const char* name, const char* value_name, std::string& value, const char* help) {
  app_->add_option(name, value, help)->type_name(value_name);
}

void Command::add_number(const char* name, unsigned& value, unsigned most, const char* help) {
  app_->add_option(name, value, help)
      ->check(CLI::Range(1u, most).description(""))
      ->type_name("N")
      ->capture_default_str();
}

void Command::add_word(const char* name, std::string& value, const std::vector<std::string>& words, const char* help) {
  app_->add_option(name, value, help)->check(CLI::IsMember(words).description(""))->type_name(braced(words));
}

void Command::add_default(const char* option, const char* variable) { app_->get_option(option)->envname(variable); }

void Command::exclude(const char* option, const char* other) {
  app_->get_option(option)->excludes(app_->get_option(other));
}

void Command::add_json(JsonReport*& json) {
  app_->add_flag_callback(
      "--json", [&choice = choice_, &json] { json = &choice.report; }, "Print one JSON object for scripts");
}

void Command::add_interfaces() {
  app_->add_option_function<std::string>("--interfaces", read_interface_names,
                                         "Use the names of interfaces in this file (lines: 0x100000a Vlan10)")
      ->type_name("FILE");
}

void Command::add_accept_loss(std::vector<std::string>& accepted) {
  const auto accept = [&accepted](const std::vector<std::string>& names) {
    for (const std::string& name : names) accepted.push_back(trimmed(name));
  };
  app_->add_option_function<std::vector<std::string>>(
          "--accept-loss", accept,
          "Accept the loss of these fields; \"record\" is the loss of whole records: " + braced(names_of_losses()))
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("FIELD[,FIELD]...");
}

void Command::add_default_value(std::vector<std::string>& defaults) {
  app_->add_option("--default", defaults,
                   "Do not count a dropped field as lost if it has this value, or the value of the field OTHER")
      ->allow_extra_args(false)
      ->type_name("FIELD=VALUE|OTHER...");
}

bool parse_command_line(int argc, char** argv, Choice& choice) {
  CLI::App app("Convert the stored VRRP configuration of a device that changes its software release", "vrrpconvert");
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(0, 1);  // check_command() reports a missing command
  app.footer(exit_statuses());
  app.set_version_flag("--version", "vrrpconvert " CONVERTVRRP_VERSION);
  for (const auto add : {add_import, add_export, add_show, add_check, add_diff, add_convert, add_fleet, add_verify,
                         add_backup, add_restore, add_status, add_log}) {
    add(app, choice);
  }
  if (argc > 1 && *argv[1] != '-') check_command(app, argv[1]);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return false;
  } catch (const CLI::ParseError& error) {
    const auto named = app.get_subcommands();
    Error usage(Reason::usage, message_of(error, named.empty() ? nullptr : named.front()));
    usage.more = {"For the options, run vrrpconvert " + (named.empty() ? "" : named.front()->get_name() + " ") +
                  "--help"};
    throw usage;
  }
  if (!choice.run) check_command(app, "");
  return true;
}

}  // namespace vrrpconvert
