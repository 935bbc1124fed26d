#include "tool/conversion/report.h"

#include <new>
#include <stdexcept>

namespace vrrpconvert {
namespace {

// Returns whether the report of a dry run is complete and its reason matches its summary.
bool is_dry_run(const DryRunReport& report, const Json& summary) {
  for (const char* member : {"counts", "lost", "accepted", "failure_count"}) {
    if (!summary.contains(member) || summary[member].is_null()) return false;
  }
  if (!report.dry_run || !is_release(report.from) || !is_release(report.to)) return false;
  const Summary& found = report.summary;
  switch (report.ending.reason) {
    case Reason::none:
    case Reason::loss:
    case Reason::other_snapshot:
      return found.failure_count == 0;
    case Reason::deleted:
      return found.is_empty();
    case Reason::already:
    case Reason::empty:
      return found.is_empty() && found.lost.empty();
    case Reason::mismatch:
      return true;
    case Reason::would_fail:
      return found.failure_count > 0;
    case Reason::io:  // preflight checks
    case Reason::permission:
    case Reason::no_space:
      return !report.ending.problem.empty();
    default:
      return false;
  }
}

// Returns whether the reason is one of an error that leaves no summary.
bool is_error(const Ending& ending) {
  return ending.exit() != exit_done && ending.exit() != exit_found && ending.exit() != exit_some_failed;
}

}  // namespace

std::optional<DryRunReport> read_dry_run_report(std::istream& stream) {
  try {
    constexpr const char* needed[] = {"schema",  "store",   "store_hex", "from",   "to",
                                      "dry_run", "summary", "problem",   "reason", "exit"};
    const Json json = parse_members(stream, needed);
    if (json.at("schema") != 1) return std::nullopt;
    auto report = json.get<DryRunReport>();
    report.ending = json.get<Ending>();
    const bool is_known = json.contains("summary") ? is_dry_run(report, json["summary"]) : is_error(report.ending);
    return is_known ? std::optional(report) : std::nullopt;
  } catch (const std::ios_base::failure&) {
    throw;  // reading failed, so the text is unknown
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vrrpconvert
