#include <iostream>

#include "platform/embedded/pss_embedded.h"
#include "tool/commands/commands.h"
#include "tool/record/record_text.h"
#include "tool/store/paths.h"
#include "tool/store/store.h"
#include "tool/support/interrupt.h"
#include "tool/support/line_reader.h"
#include "tool/support/printable.h"
#include "tool/support/progress.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct ImportOptions {
  std::string store;
  std::string file = "-";
  bool force = false;
  JsonReport* json = nullptr;
};

void import_line(std::string_view line, Store& store) {
  const StoredRecord record = record_of_line(line);
  if (record.key.size() > PSS_EMBEDDED_KEY_MAX) throw BadRecord("field \"store_key\": expected at most 1,024 bytes");
  if (record.value.size() > PSS_EMBEDDED_VALUE_MAX) throw BadRecord("field \"value\": expected at most 1 MiB");
  if (!store.add(record)) throw BadRecord("duplicate: an earlier line has the same key");
}

constexpr size_t errors_max = 10;

[[noreturn]] void refuse_lines(const std::vector<std::string>& errors, bool is_read) {
  Error error(Reason::bad_input, errors.front());
  error.more = {errors.begin() + 1, errors.end()};
  if (!is_read) error.more.push_back("The lines after the last error were not read.");
  error.more.push_back(std::string("No store was written. Correct the ") + (errors.size() == 1 ? "line" : "lines") +
                       " and import the file again.");
  throw error;
}

size_t import_lines(LineReader& input, Store& store) {
  Progress progress("Importing", input.size());
  size_t records = 0;
  std::vector<std::string> errors;
  std::string_view line;
  while (errors.size() < errors_max && input.next(line)) {
    progress.show(input.bytes_read());
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    try {
      import_line(line, store);
      ++records;
    } catch (const BadRecord& error) {
      errors.push_back(input.name() + ":" + std::to_string(input.line_number()) + ": " + error.what());
    }
  }
  if (!errors.empty()) refuse_lines(errors, !input.next(line));
  return records;
}

[[noreturn]] void refuse_existing(const std::string& store) {
  if (!path_exists(store)) {
    throw Error(Reason::exists,
                store +
                    ": a sidecar file (-journal, -wal, -shm) without its store is in the way; move it, or "
                    "--force to rename it");
  }
  throw Error(Reason::exists, store + ": already exists; use another name, or --force to replace it");
}

// Writes the store. Returns the name to which a replaced store was renamed, or an empty path.
fs::path put(const Store& store, size_t records, const ImportOptions& options) {
  if (!options.force) {
    ignore_interrupts();
    if (!store.put_new(options.store)) refuse_existing(options.store);  // another process created it meanwhile
    return {};
  }
  if (records == 0 && path_exists(options.store)) {
    throw Error(Reason::bad_input, (options.file == "-" ? "standard input" : options.file) + ": contains no records; " +
                                       options.store + " was not replaced");
  }
  // Hold the lock until the rename, so that a process waiting for the old store opens the new one.
  const std::unique_ptr<Store> held = Store::open_to_replace(options.store);
  const bool is_same = held != nullptr && held->digest() == store.digest();
  ignore_interrupts();
  return store.put(options.store, is_same ? Replaced::removed : Replaced::kept);
}

Exit import_store(const ImportOptions& options) {
  if (!options.force && path_exists(options.store)) refuse_existing(options.store);
  (void)Store::open_to_replace(options.store);  // fails before a line is read if the file cannot be replaced
  LineReader input(options.file);
  Store store(-1, options.store);
  const size_t records = import_lines(input, store);
  const fs::path kept = put(store, records, options);
  if (options.json != nullptr) {
    options.json->print({{"store", options.store}, {"record_count", records}, {"kept", or_null(kept)}});
    return exit_done;
  }
  std::cout << printable(options.store) << ": " << records << (records == 1 ? " record" : " records");
  if (!kept.empty()) std::cout << "; the replaced store was renamed to " << printable(kept);
  std::cout << '\n';
  return exit_done;
}

}  // namespace

void add_import(CLI::App& app, Choice& choice) {
  Command command(app, choice, "import", "Create a store from JSON lines, one record per line",
                  "vrrpconvert import vrrp-cfg_runtime_config records.jsonl");
  const auto options = std::make_shared<ImportOptions>();
  run_with(command, options, import_store, Effect::changes);
  command.add_operand("STORE", options->store, "Create this store");
  command.add_operand("FILE", options->file, "Read the lines from this file (default: standard input, -)", false);
  command.add_flag("--force", options->force, "Replace an existing store");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
