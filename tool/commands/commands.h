// The commands of the tool. Each prints its result on standard output and returns its exit code, or throws Error when
// it cannot do what it is asked.
#ifndef TOOL_COMMANDS_COMMANDS_H
#define TOOL_COMMANDS_COMMANDS_H

#include <set>
#include <string>
#include <vector>

#include "tool/support/error.h"
#include "tool/support/json_report.h"

namespace vrrpconvert {

// `json` is the report to write, null where users read the result.

struct ImportOptions {
  std::string store;
  std::string file = "-";
  bool force = false;
  JsonReport* json = nullptr;
};
Exit import_store(const ImportOptions& options);

struct ExportOptions {
  std::string store;
  std::string output;  // empty: standard output
  bool raw = false;
};
Exit export_store(const ExportOptions& options);

struct ShowOptions {
  std::string store;
  std::string kind;  // empty: all
  bool reveal = false;
  JsonReport* json = nullptr;
};
Exit show(const ShowOptions& options);

struct CheckOptions {
  std::string store;
  std::string release;  // empty: any
  JsonReport* json = nullptr;
};
Exit check(const CheckOptions& options);

struct DiffOptions {
  std::string a, b;
  bool reveal = false;
  bool ignore_layout = false;
  JsonReport* json = nullptr;
};
Exit diff(const DiffOptions& options);

struct ConvertOptions {
  std::string directory;
  std::string from;
  std::string to;
  unsigned vdc = 1;
  bool startup = false;
  std::string trace;
  std::string root;
  bool dry_run = false;
  bool summary = false;            // no list of what would change
  std::set<std::string> accepted;  // names of fields whose loss is no reason to refuse
  bool allow_loss = false;
  bool allow_mismatch = false;
  bool backup = true;
  bool reveal = false;
  JsonReport* json = nullptr;
};
Exit convert(const ConvertOptions& options);

struct FleetOptions {
  std::vector<std::string> paths;
  bool reports = false;  // the paths hold reports, not stores
  std::string from, to;
  std::set<std::string> accepted;
  unsigned jobs = 1;
  std::string html;  // empty: none
  JsonReport* json = nullptr;
};
Exit fleet(const FleetOptions& options);

struct RestoreOptions {
  std::string copy;
  std::string store;
  bool backup = true;
  JsonReport* json = nullptr;
};
Exit restore(const RestoreOptions& options);

}  // namespace vrrpconvert

#endif
