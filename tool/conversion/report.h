// The report of a conversion or of its dry run. Its members are those of the JSON object, which also has an outcome.
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

// What an operator decides on, of the same size for any number of records. The names of its members are those of the
// reports that earlier releases of the tool wrote.
struct Summary {
  RecordCounts records;            // before the conversion
  size_t changes = 0;              // records that would change
  NamesByWord lost{}, accepted{};  // by field; losses that the operator accepts are apart
  NamesByWord defaults{};          // dropped values that the target release assumes, by field
  NameList added{};
  NameList without_vr{};  // track records whose virtual router is deleted
  NamesByWord failing{};  // by reason
  size_t failures = 0;
  std::string mismatch{};  // of the releases and the records
  std::string note{};

  JSON_MEMBERS(records, changes, lost, accepted, defaults, added, without_vr, failing, failures, mismatch, note)
};

// How a conversion ends.
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
  bool changed = false;                          // the records of the store
  std::optional<Outcome> outcome{};              // of the library's run on the store, if it is known
  std::string snapshot, earlier_snapshot, copy;  // of a dry run: the paths that the conversion would write
  std::vector<RestoreSource> ways_back;
  std::vector<std::string> unfinished_files;  // that may hold a store
  std::string next;                           // what to do

  JSON_MEMBERS(store, decision, from, to, change, dry_run, refused, summary, snapshot, earlier_snapshot, copy,
               ways_back, unfinished_files, problem, reason, next, exit)
};

// The member "outcome" of the report's object. Its counts are 0 if the library did not run on the store, and if what it
// did is not known.
Json json_of_outcome(const ConversionReport& report);

Summary summary_of(const Conversion& conversion, const Outcome& foreseen);

// Moves losses of `accepted` fields, or all of them, from `lost` to `accepted`.
void accept_losses(const std::set<std::string>& accepted, Summary& summary);
void accept_all_losses(Summary& summary);

// Reads the JSON object of a dry run, or of an error that ended one, but for what a fleet does not need. Returns
// nothing for any other text, and for an object that is incomplete or contradicts itself. Throws what the stream
// throws.
std::optional<ConversionReport> read_dry_run_report(std::istream& stream);

}  // namespace vrrpconvert
