#include <iostream>

#include "tool/progress.h"
#include "tool/record_text.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

Exit export_store(const ExportOptions& options) {
  set_nonvolatile_root("/");
  const Store store(options.store);
  size_t done = 0;
  Progress progress("Exporting", store.count());
  store.for_each([&](const StoredRecord& record) {
    std::cout << (options.raw ? raw_line_of(record) : line_of(record)) << '\n';
    progress.show(++done);
  });
  return exit_done;
}

}  // namespace vrrpconvert
