// The report of a conversion or a dry run. Its members are members of the JSON object, which also has an outcome.
#pragma once

#include <istream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tool/conversion/backup.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/outcome.h"
#include "tool/support/error.h"

namespace vrrpconvert {

// The summary for the operator's decision. Its size does not depend on the number of records. Do not rename members:
// reports of earlier releases of the tool have them.
struct Summary {
  RecordCounts records;            // before the conversion
  size_t changes = 0;              // records that would change
  NamesByWord lost{}, accepted{};  // by field; losses that the operator accepts are only in `accepted`
  NamesByWord defaults{};          // dropped values that the target release assumes, by field
  NameList added{};
  NameList without_vr{};  // track records whose VR configuration is deleted
  NamesByWord failing{};  // by reason
  size_t failures = 0;
  std::string mismatch{};  // between the releases and the records
  std::string note{};

  JSON_MEMBERS(records, changes, lost, accepted, defaults, added, without_vr, failing, failures, mismatch, note)
};

// The ending of a conversion.
struct Ending {
  unsigned exit = exit_done;
  std::string problem{};
  std::string reason = exit == exit_done ? "" : reason_for(static_cast<Exit>(exit));  // for scripts

  bool is_good() const { return exit == exit_done; }
};

struct ConversionReport : Ending {
  std::string store, decision, from, to, change;
  bool dry_run = false, refused = false;
  Summary summary;
  bool changed = false;                          // whether the records changed
  std::optional<Outcome> outcome{};              // of the library's run on the store, if known
  std::string snapshot, earlier_snapshot, copy;  // of a dry run: the paths that the conversion would write
  std::vector<RestoreSource> ways_back;
  std::vector<std::string> unfinished_files;  // may contain a store
  std::string next;                           // next step for the operator

  JSON_MEMBERS(store, decision, from, to, change, dry_run, refused, summary, snapshot, earlier_snapshot, copy,
               ways_back, unfinished_files, problem, reason, next, exit)
};

// Returns the member "outcome" of the report's object. Its counts are 0 if the library did not run on the store, or if
// the outcome is unknown.
Json json_of_outcome(const ConversionReport& report);

Summary summary_of(const Conversion& conversion, const Outcome& foreseen);

// Moves the losses of `accepted` fields, or all losses, from `lost` to `accepted`.
void accept_losses(const std::set<std::string>& accepted, Summary& summary);
void accept_all_losses(Summary& summary);

// Reads the JSON object of a dry run or of its error. Reads only the members that a fleet needs. Returns nothing for
// any other text, and for an object that is incomplete or inconsistent. Throws the exceptions of the stream.
std::optional<ConversionReport> read_dry_run_report(std::istream& stream);

}  // namespace vrrpconvert
