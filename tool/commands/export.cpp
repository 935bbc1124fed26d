#include <functional>
#include <iostream>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/record/record_text.h"
#include "tool/store/store.h"
#include "tool/support/output_file.h"
#include "tool/support/progress.h"

namespace vrrpconvert {
namespace {

struct ExportOptions {
  std::string store;
  std::string output;  // empty for standard output
  bool raw = false;
};

void write_records(const Store& store, bool raw, const std::function<void(std::string_view)>& write) {
  size_t done = 0;
  Progress progress("Exporting", store.digest().records);
  std::string lines;
  JsonWriter json(lines);
  store.for_each([&](const StoredRecord& record) {
    raw ? write_raw_record(json, record) : write_record(json, record);
    lines += '\n';
    if (lines.size() > JsonWriter::long_text) {
      write(lines);
      lines.clear();
    }
    progress.show(++done);
  });
  write(lines);
}

Exit export_store(const ExportOptions& options) {
  const Store copy(store_at(options.store));
  if (options.output.empty()) {
    write_records(copy, options.raw, [](std::string_view text) { std::cout << text; });
  } else {
    OutputFile file(options.output);
    write_records(copy, options.raw, [&file](std::string_view text) { file.write(text); });
    file.keep();
  }
  return exit_done;
}

}  // namespace

void add_export(CLI::App& app, Choice& choice) {
  Command command(app, choice, "export", "Write the records of a store as lines of JSON, authentication keys included",
                  "vrrpconvert export -o records.jsonl vrrp-cfg_runtime_config");
  const auto options = std::make_shared<ExportOptions>();
  run_with(command, options, export_store, Effect::reads);
  command.add_operand("STORE", options->store, "Read this store, or the one in this directory");
  command.add_text("-o,--output", "FILE", options->output, "Write to this new file with mode 0600");
  command.add_flag("--raw", options->raw,
                   "Write every record in its raw form, the hexadecimal digits of key and value");
}

}  // namespace vrrpconvert
