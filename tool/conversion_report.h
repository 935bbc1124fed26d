// What a conversion tells the operator.
#ifndef TOOL_CONVERSION_REPORT_H
#define TOOL_CONVERSION_REPORT_H

#include <filesystem>
#include <optional>
#include <string>

#include "tool/conversion.h"
#include "tool/rehearsal.h"
#include "tool/verbs.h"
#include "tool/verdict.h"

namespace vrrpconvert {

// What is empty did not come about.
struct Report {
  const ConvertOptions& options;
  const Conversion& conversion;
  const Rehearsal& rehearsal;
  const Plan& plan;
  Exit exit = exit_done;
  bool refused = false;
  std::optional<Verdict> verdict;
  std::filesystem::path snapshot, copy;
  std::string problem, next;
};

// Prints the report as text or JSON, and its problem on standard error. Returns its exit code.
Exit print(const Report& report);

}  // namespace vrrpconvert

#endif
