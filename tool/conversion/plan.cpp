#include "tool/conversion/plan.h"

#include <algorithm>
#include <fstream>
#include <iostream>

#include "tool/store/record_hash.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

constexpr char version[] = CONVERTVRRP_VERSION;

// Reads the plan in a report. Throws std::exception if the plan is incomplete or invalid.
Plan parse_plan(std::istream& stream) {
  constexpr const char* needed[] = {"schema", "dry_run", "plan"};
  const Json json = parse_members(stream, needed);
  if (json.at("schema") != 1 || json.at("dry_run") != true) throw std::out_of_range("a report");
  const Json& members = json.at("plan");
  const Json complete = Plan();
  for (const auto& [name, value] : complete.items()) {
    if (members.at(name).is_null()) throw std::out_of_range(name);
  }
  auto plan = members.get<Plan>();
  for (const std::string& path : {plan.root, plan.directory}) {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) throw std::out_of_range("a path");
  }
  const std::vector<std::string> losses = names_of_losses();
  const bool are_losses = std::all_of(plan.accepted.begin(), plan.accepted.end(), [&losses](const std::string& name) {
    return std::find(losses.begin(), losses.end(), name) != losses.end();
  });
  Defaults defaults;
  for (const std::string& text : plan.defaults) defaults.add(text);
  if (!is_hash_of_records(plan.hash) || !are_losses || !is_release(plan.from) || !is_release(plan.to) ||
      plan.vdc == 0 || plan.vdc > 65535) {
    throw std::out_of_range("an option");
  }
  return plan;
}

}  // namespace

Json plan_of(const Conversion& conversion, const ConversionRequest& request, const Store& before) {
  const Permissions& permissions = request.permissions;
  const std::filesystem::path directory = conversion.root / std::filesystem::path(conversion.path).relative_path();
  if (!is_utf8(directory.native())) return nullptr;
  return Plan{.tool = version,
              .root = conversion.root,
              .directory = directory,
              .from = conversion.from.text,
              .to = conversion.to.text,
              .vdc = conversion.vdc,
              .startup = conversion.startup,
              .hash = hash_of_records(before),
              .accepted = {permissions.accepted.begin(), permissions.accepted.end()},
              .defaults = conversion.defaults.texts(),
              .allow_loss = permissions.loss,
              .allow_mismatch = permissions.mismatch,
              .backup = request.has_backup};
}

Plan read_plan(const std::string& file) {
  const bool is_standard_input = file == "-";
  const std::string name = is_standard_input ? "standard input" : file;
  std::ifstream opened;
  if (!is_standard_input) opened.open(file);
  if (!is_standard_input && !opened)
    throw Error(exit_bad_input, name + ": cannot open: " + strerror(errno) + "; expected the report of a dry run");
  Plan plan;
  try {
    plan = parse_plan(is_standard_input ? std::cin : opened);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::length_error&) {
    throw Error(exit_bad_input, name + ": longer than 64 MiB; make the plan with convert --dry-run --json --summary",
                "bad_report");
  } catch (const std::exception&) {
    throw Error(exit_bad_input, name + ": not a report of convert --dry-run --json with a plan; run the dry run again",
                "bad_report");
  }
  if (plan.tool == version) return plan;
  throw Error(
      exit_bad_input,
      name + ": the plan is from vrrpconvert " + plan.tool + ", but this is " + version + "; run the dry run again",
      "bad_report");
}

}  // namespace vrrpconvert
