// vrrpconvert: the operator's tool over libconvertvrrp. Only this file prints errors and ends the process.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

#include "tool/verbs.h"

using namespace vrrpconvert;

namespace {

void add_import(CLI::App& app, ImportOptions& options) {
  CLI::App* verb = app.add_subcommand("import", "Create a store from lines of JSON, one record a line");
  verb->add_option("STORE", options.store, "The store to create")->required();
  verb->add_option("FILE", options.file, "The lines; standard input when not given or -");
  verb->add_flag("--force", options.force, "Replace a store that is there already");
  verb->footer("Example:\n  vrrpconvert import vrrp-cfg_runtime_config records.jsonl");
}

void add_export(CLI::App& app, ExportOptions& options) {
  CLI::App* verb = app.add_subcommand("export", "Write the records of a store as lines of JSON");
  verb->add_option("STORE", options.store, "The store to read")->required();
  verb->add_flag("--raw", options.raw, "Write every record as the hexadecimal digits of its key and value");
  verb->footer("Example:\n  vrrpconvert export vrrp-cfg_runtime_config > records.jsonl");
}

void add_convert(CLI::App& app, ConvertOptions& options) {
  CLI::App* verb = app.add_subcommand("convert", "Convert the store in a folder from one release to another");
  verb->add_option("DIR", options.folder, "The folder that holds vrrp-cfg_runtime_config")->required();
  verb->add_option("--from", options.from, "The release that wrote the store, as 4.2(1)")->required();
  verb->add_option("--to", options.to, "The release that will read it")->required();
  CLI::Option* vdc = verb->add_option("--vdc", options.vdc, "The number of the store's VDC")
                         ->check(CLI::Range(1, 65535))
                         ->capture_default_str();
  verb->add_flag("--startup", options.startup, "Inspect DIR/bin/vrrp-cfg_config_sav, the saved startup store, instead")
      ->excludes(vdc);
  verb->add_option("--trace", options.trace, "Append the library's trace lines to this file");
  verb->add_option("--root", options.root, "The folder that stands for a device's /; its tmp takes the snapshot");
  verb->footer("Example:\n  vrrpconvert convert /flash --root / --from '4.2(1)' --to '4.1(2)' --trace trace.log");
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

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Converts the stored VRRP configuration of a device that changes its software release", "vrrpconvert");
  app.require_subcommand(1);
  ImportOptions import_options;
  ExportOptions export_options;
  ConvertOptions convert_options;
  add_import(app, import_options);
  add_export(app, export_options);
  add_convert(app, convert_options);
  try {
    if (argc > 1 && *argv[1] != '-') check_verb(app, argv[1]);
    app.parse(argc, argv);
    if (app.got_subcommand("import")) return import_store(import_options);
    if (app.got_subcommand("export")) return export_store(export_options);
    return convert(convert_options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_done : exit_usage;
  } catch (const Error& error) {
    std::cerr << "vrrpconvert: " << error.what() << '\n';
    return error.exit_code;
  } catch (const std::exception& error) {
    std::cerr << "vrrpconvert: " << error.what() << '\n';
    return exit_io;
  }
}
