#include <sys/stat.h>

#include <fstream>
#include <iostream>

#include "platform/embedded/pss_embedded.h"
#include "platform/syserr.h"
#include "tool/private_folder.h"
#include "tool/record_text.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// What stands at the target is replaced only when it was asked for, nobody uses it, and it is a store, sound or not.
void check_target(const fs::path& target, bool force) {
  if (!fs::exists(fs::symlink_status(target))) return;
  if (!force) {
    throw Error(exit_usage, target.string() + ": exists already; choose another name, or replace it with --force");
  }
  syserr_t status = 0;
  const pss_service_t handle = pss_open(("nonvolatile:" + nonvolatile_path(target)).c_str(), &status);
  if (handle != 0) {
    (void)pss_close(handle);  // nothing was changed
  } else if (status != SYSERR_PSS_DAMAGED) {
    throw_store_error(target, status);
  }
}

size_t import_lines(std::istream& input, const std::string& name, Store& store) {
  size_t line_number = 0, records = 0;
  std::string line;
  while (std::getline(input, line)) {
    ++line_number;
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
  check_target(target, options.force);

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
  const size_t records =
      import_lines(from_stdin ? std::cin : file, from_stdin ? "standard input" : options.file, store);
  store.write_copy(target);
  std::cout << target.string() << ": " << records << (records == 1 ? " record\n" : " records\n");
  return exit_done;
}

}  // namespace vrrpconvert
