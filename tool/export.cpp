#include <iostream>

#include "tool/record_text.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

Exit export_store(const ExportOptions& options) {
  set_nonvolatile_root("/");
  const Store store(options.store);
  store.for_each(
      [&](const StoredRecord& record) { std::cout << (options.raw ? raw_line_of(record) : line_of(record)) << '\n'; });
  if (!std::cout.flush())
    throw Error(exit_io, "standard output: cannot be written to its end; the export is cut short");
  return exit_done;
}

}  // namespace vrrpconvert
