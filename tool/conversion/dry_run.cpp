#include "tool/conversion/dry_run.h"

#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

DryRun::DryRun(const Conversion& real) : scratch_(temporary_directory()) {
  Conversion conversion = real;
  conversion.root = scratch_.path() / "root";
  const fs::path before = scratch_.path() / "before", after = conversion.store();
  fs::create_directories(after.parent_path());
  fs::create_directories(conversion.snapshot().parent_path());
  Store(real.store()).write_copy(before);
  std::error_code error;
  fs::copy_file(before, after, error);  // which is checked when it is opened
  if (error) throw Error(exit_io, after.string() + ": cannot be written: " + error.message() + "; nothing was changed");
  run_ = run_conversion(conversion, {});
  if (run_.interrupted) throw Error(exit_interrupted, "interrupted; nothing was changed");
  if (!run_.answered) throw Error(exit_unknown, "the library died on a copy of the store; nothing was changed");
  before_.emplace(before);
  after_.emplace(after);
}

}  // namespace vrrpconvert
