#include <iostream>

#include "platform/embedded/pss_embedded.h"
#include "tool/interrupt.h"
#include "tool/json.h"
#include "tool/line_reader.h"
#include "tool/private_folder.h"
#include "tool/progress.h"
#include "tool/record_text.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

void import_line(const std::string& line, Store& store) {
  const StoredRecord record = record_of_line(line);
  if (record.key.size() > PSS_EMBEDDED_KEY_MAX) throw BadRecord("field \"store_key\": is too long for a store");
  if (record.value.size() > PSS_EMBEDDED_VALUE_MAX) throw BadRecord("field \"value\": is too long for a store");
  if (!store.add(record)) throw BadRecord("a line above has the same record, or one with the same key");
}

size_t import_lines(LineReader& input, Store& store) {
  Progress progress("Importing", input.size());
  size_t records = 0;
  std::string line;
  while (input.next(&line)) {
    end_if_interrupted();
    progress.show(input.bytes_read());
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      import_line(line, store);
    } catch (const BadRecord& error) {
      throw Error(exit_bad_input, input.name() + ":" + std::to_string(input.line_number()) + ": " + error.what() +
                                      "\nNo store was written. Mend the line and import the file again.");
    }
    ++records;
  }
  return records;
}

}  // namespace

Exit import_store(const ImportOptions& options) {
  set_nonvolatile_root("/");
  const fs::path target = options.store;
  if (!options.force && fs::exists(fs::symlink_status(target))) {
    throw Error(exit_usage, target.string() + ": exists already; choose another name, or replace it with --force");
  }
  Store::check_replaceable(target);
  LineReader input(options.file);

  // Built aside and brought to its place as one: nobody ever sees a part of it.
  const PrivateFolder workplace(existing_folder(target.parent_path()));
  Store store = Store::create(workplace.path() / "store");
  const size_t records = import_lines(input, store);
  options.force ? store.replace(target) : store.write_copy(target);
  if (options.json) {
    std::cout << dumped({{"schema", 1}, {"store", options.store}, {"records", records}}) << '\n';
  } else {
    std::cout << target.string() << ": " << records << (records == 1 ? " record\n" : " records\n");
  }
  return exit_done;
}

}  // namespace vrrpconvert
