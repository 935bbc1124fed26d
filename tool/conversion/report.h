// The report of a conversion or a dry run.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "tool/conversion/backup.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/outcome.h"
#include "tool/conversion/summary.h"
#include "tool/support/reason.h"

namespace vrrpconvert {

// What the dry run of a conversion found. Of the report of another machine, a fleet reads only this.
struct DryRunReport {
  std::string store{}, store_hex{};  // path; its hexadecimal digits if it is not UTF-8
  std::string decision{};            // for the operator
  std::string from{}, to{}, change{};
  bool dry_run = false, refused = false;
  Summary summary{};
  Ending ending{};

  JSON_MEMBERS(store, store_hex, decision, from, to, change, dry_run, refused, summary)
};

struct ConversionReport : DryRunReport {
  bool changed = false;                                  // whether the records changed
  std::optional<Outcome> outcome{};                      // of the library's run on the store, if known
  std::string snapshot{}, earlier_snapshot{}, backup{};  // of a dry run: the paths that the conversion would write
  std::vector<Backup> backups{};  // to go back with restore; of a dry run: with records that the store lacks
  std::vector<std::string> unfinished_files{};  // may contain a store
  std::string next{};                           // next step for the operator
};

// Reads the JSON object of a dry run or of its error. Returns nothing for any other text, and for an object that is
// incomplete or inconsistent. Throws the exceptions of the stream.
std::optional<DryRunReport> read_dry_run_report(std::istream& stream);

}  // namespace vrrpconvert
