// What a conversion reports to the operator.
#ifndef TOOL_COMMANDS_CONVERSION_REPORT_H
#define TOOL_COMMANDS_CONVERSION_REPORT_H

#include <filesystem>
#include <optional>
#include <string>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/dry_run.h"
#include "tool/conversion/plan.h"
#include "tool/conversion/verdict.h"
#include "tool/conversion/ways_back.h"

namespace vrrpconvert {

// Empty means that it did not happen.
struct Report {
  const ConvertOptions& options;
  const Conversion& conversion;
  const DryRun& dry_run;
  const Plan& plan;
  bool refused = false;
  bool is_as_it_was = true;  // the store holds what it held before
  std::optional<Verdict> verdict{};
  std::filesystem::path snapshot{}, earlier_snapshot{}, copy{};
  std::vector<WayBack> ways_back{};
  std::vector<std::filesystem::path> unfinished{};  // files that may hold a store
  Exit exit = exit_done;
  const char* reason = nullptr;  // a word for why it is not exit_done
  std::string problem{}, next{};
};

// Prints the report as text or JSON, and its problem on standard error. Returns its exit code.
Exit print(const Report& report);

}  // namespace vrrpconvert

#endif
