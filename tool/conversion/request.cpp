#include "tool/conversion/request.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <stdexcept>

#include "tool/store/record_hash.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

// Throws std::exception if the report has no complete plan.
Request parse_plan(std::istream& stream) {
  constexpr const char* needed[] = {"schema", "dry_run", "plan"};
  const Json json = parse_members(stream, needed);
  if (json.at("schema") != 1 || json.at("dry_run") != true) throw std::out_of_range("a report");
  const Json& members = json.at("plan");
  const Json complete = Request();
  for (const auto& [name, value] : complete.items()) {
    if (members.at(name).is_null()) throw std::out_of_range(name);
  }
  auto plan = members.get<Request>();
  for (const std::string& path : {plan.root, plan.directory}) {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) throw std::out_of_range("a path");
  }
  if (!is_hash_of_records(plan.hash)) throw std::out_of_range("a hash");
  return plan;
}

}  // namespace

Request read_plan(const std::string& file) {
  const bool is_standard_input = file == "-";
  const std::string name = name_of_plan(file);
  std::ifstream opened;
  if (!is_standard_input) opened.open(file);
  if (!is_standard_input && !opened) {
    throw Error(Reason::bad_input, name + ": cannot open: " + strerror(errno) + "; expected the report of a dry run");
  }
  Request plan;
  try {
    plan = parse_plan(is_standard_input ? std::cin : opened);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::length_error&) {
    throw Error(Reason::bad_report,
                name + ": longer than 64 MiB; make the plan with convert --dry-run --json --summary");
  } catch (const std::exception&) {
    throw Error(Reason::bad_report,
                name + ": not a report of convert --dry-run --json with a plan; run the dry run again");
  }
  if (plan.tool == CONVERTVRRP_VERSION) return plan;
  throw Error(Reason::bad_report, name + ": the plan is from vrrpconvert " + plan.tool + ", but this is " +
                                      CONVERTVRRP_VERSION + "; run the dry run again");
}

}  // namespace vrrpconvert
