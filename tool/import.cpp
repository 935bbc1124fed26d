#include <fstream>
#include <iostream>

#include "platform/embedded/pss_embedded.h"
#include "tool/interrupt.h"
#include "tool/private_folder.h"
#include "tool/progress.h"
#include "tool/record_text.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// `size` is that of the input in bytes, 0 where it is not known.
size_t import_lines(std::istream& input, const std::string& name, size_t size, Store& store) {
  Progress progress("Importing", size);
  size_t line_number = 0, records = 0, bytes = 0;
  std::string line;
  while (std::getline(input, line)) {
    ++line_number;
    progress.show(bytes += line.size() + 1);
    end_if_interrupted();
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      const StoredRecord record = record_of_line(line);
      if (record.key.size() > PSS_EMBEDDED_KEY_MAX) throw BadRecord("field \"store_key\": is too long for a store");
      if (record.value.size() > PSS_EMBEDDED_VALUE_MAX) throw BadRecord("field \"value\": is too long for a store");
      if (!store.add(record)) throw BadRecord("a line above has the same record, or one with the same key");
    } catch (const BadRecord& error) {
      throw Error(exit_bad_input, name + ":" + std::to_string(line_number) + ": " + error.what() +
                                      "\nNo store was written. Mend the line and import the file again.");
    }
    ++records;
  }
  if (input.bad()) throw Error(exit_io, name + ": cannot be read to its end; no store was written");
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

  std::ifstream file;
  const bool from_stdin = options.file == "-";
  if (!from_stdin) {
    file.open(options.file);
    if (!file || fs::is_directory(options.file)) {
      throw Error(exit_bad_input, options.file + ": cannot be read; expected a file with one JSON record a line");
    }
  }

  // Built aside and brought to its place as one: nobody ever sees a part of it.
  const PrivateFolder workplace(existing_folder(target.parent_path()));
  Store store = Store::create(workplace.path() / "store");
  std::error_code unknown_size;
  const auto size = fs::file_size(options.file, unknown_size);
  const size_t records = from_stdin
                             ? import_lines(std::cin, "standard input", 0, store)
                             : import_lines(file, options.file, unknown_size ? 0 : static_cast<size_t>(size), store);
  store.write_copy(target);
  if (options.json) {
    std::cout << Json({{"schema", 1}, {"store", options.store}, {"records", records}}).dump() << '\n';
  } else {
    std::cout << target.string() << ": " << records << (records == 1 ? " record\n" : " records\n");
  }
  return exit_done;
}

}  // namespace vrrpconvert
