#include <iostream>

#include "platform/embedded/pss_embedded.h"
#include "tool/commands/commands.h"
#include "tool/record/record_text.h"
#include "tool/store/store.h"
#include "tool/support/interrupt.h"
#include "tool/support/line_reader.h"
#include "tool/support/progress.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

void import_line(std::string_view line, Store& store) {
  const StoredRecord record = record_of_line(line);
  if (record.key.size() > PSS_EMBEDDED_KEY_MAX) throw BadRecord("field \"store_key\": is too long for a store");
  if (record.value.size() > PSS_EMBEDDED_VALUE_MAX) throw BadRecord("field \"value\": is too long for a store");
  if (!store.add(record)) throw BadRecord("a line above has the same record, or one with the same key");
}

size_t import_lines(LineReader& input, Store& store) {
  Progress progress("Importing", input.size());
  size_t records = 0;
  std::string_view line;
  while (input.next(line)) {
    end_if_interrupted();
    progress.show(input.bytes_read());
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    try {
      import_line(line, store);
    } catch (const BadRecord& error) {
      throw Error(exit_bad_input, input.name() + ":" + std::to_string(input.line_number()) + ": " + error.what() +
                                      "\nNo store was written. Correct the line and import the file again.");
    }
    ++records;
  }
  return records;
}

void refuse_existing(const ImportOptions& options) {
  if (options.force || file_number(options.store) == 0) return;
  throw Error(exit_usage, options.store + ": exists already; choose another name, or replace it with --force");
}

}  // namespace

Exit import_store(const ImportOptions& options) {
  const fs::path target = options.store;
  refuse_existing(options);
  (void)Store::open_to_replace(target);  // so that no line is read for a place that cannot be taken
  LineReader input(options.file);

  // Built aside and renamed into place: other processes never see a part of it.
  const ScratchDirectory scratch(existing_directory(target.parent_path()));
  Store store = Store::create(scratch.path() / "store");
  const size_t records = import_lines(input, store);
  // Held until it is replaced: a process that waits for it then gets the new one.
  const std::unique_ptr<Store> held = Store::open_to_replace(target);
  refuse_existing(options);  // another process may have been faster
  options.force ? store.replace(target) : store.write_copy(target);
  if (options.json == nullptr) {
    std::cout << target.string() << ": " << records << (records == 1 ? " record\n" : " records\n");
    return exit_done;
  }
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.member("records", records);
  json.end();
  return exit_done;
}

}  // namespace vrrpconvert
