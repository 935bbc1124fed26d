// The sequence of a conversion: dry run, decision, backup, run of the library, comparison.
#pragma once

#include <optional>
#include <string>

#include "tool/conversion/conversion.h"
#include "tool/conversion/decision.h"
#include "tool/conversion/dry_run.h"
#include "tool/conversion/report.h"

namespace vrrpconvert {

class Sequence {
 public:
  // Performs the dry run. Throws Error. The conversion must exist as long as the sequence.
  explicit Sequence(const Conversion& conversion, Place place = Place::new_process)
      : conversion_(conversion), dry_run_(conversion, place) {}

  // Return the report of the dry run, or convert the store unless that is refused. `trace` is a file for the library's
  // trace lines; empty for the device's log. Call one of them, once. Throw Error if nothing was changed and there is no
  // report.
  ConversionReport foresee();
  ConversionReport convert(const std::string& trace);

  // Returns the plan of this conversion, or nothing if a path is not UTF-8. Throws Error.
  std::optional<Request> plan() const;

  const DryRun& dry_run() const { return dry_run_; }

 private:
  void begin_report();
  void require_planned() const;
  Decision decide_with(const Ending& obstacle);
  void note_nothing();
  void name_new_files();
  void convert_allowed(const std::string& trace);
  Run run_on_store(const std::string& trace);
  void note_unreported_snapshot(ino_t earlier);
  Ending examine(const Run& run);
  void drop_backup();
  void note_unfinished_files();
  std::vector<std::string> unfinished_lines() const;
  std::vector<Backup> other_backups(const Store& now) const;
  std::vector<Backup> backups_after_upgrade() const;
  void list_backups();
  std::string next_step(const Backup* back) const;

  bool would_change() const { return conversion_.change() != Change::none && report_.summary.change_count > 0; }

  const Conversion& conversion_;
  const DryRun dry_run_;
  ConversionReport report_{};
};

}  // namespace vrrpconvert
