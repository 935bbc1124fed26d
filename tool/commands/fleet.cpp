#include <algorithm>
#include <thread>

#include "tool/commands/overview.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/loss.h"
#include "tool/fleet/saved_reports.h"
#include "tool/fleet/workers.h"

namespace vrrpconvert {
namespace {

struct FleetOptions {
  OverviewOptions overview{};
  bool reports = false;               // the paths contain reports, not stores
  Request request{.directory = "/"};  // the releases and the permissions
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
};

Exit show_fleet(const FleetOptions& options) {
  const Request& request = options.request;
  const auto find = [&overview = options.overview](InputKind kind) {
    return find_inputs(overview.paths, kind, overview.expected);
  };
  if (options.reports) {
    for (const std::string& name : request.accepted) require_loss(name);
    return show_overview(options.overview, request.accepted,
                         [&] { return Fleet{"", "", read_reports(find(InputKind::reports), request.accepted)}; });
  }
  const Conversion conversion(request);
  return show_overview(options.overview, request.accepted, [&] {
    return Fleet{request.from, request.to, run_dry_runs(conversion, find(InputKind::stores), options.jobs)};
  });
}

}  // namespace

void add_fleet(CLI::App& app, Choice& choice) {
  Command command(app, choice, "fleet", "Perform dry runs for many devices",
                  "vrrpconvert fleet devices --from '4.2(1)' --to '4.1(2)' --html overview.html");
  const auto options = std::make_shared<FleetOptions>();
  run_with(command, options, show_fleet, Effect::reads);
  add_overview_options(command, options->overview,
                       "Search these directories recursively for stores (vrrp-cfg_runtime_config), one per device");
  command.add_flag("--reports", options->reports,
                   "Read saved reports (*.json) of convert --dry-run --json below PATH instead of stores");
  command.add_text("--from", "RELEASE", options->request.from, "Convert from this release, for example 4.2(1)");
  command.add_text("--to", "RELEASE", options->request.to, "Convert to this release");
  command.add_accept_loss(options->request.accepted);
  command.add_default_value(options->request.defaults);
  command.add_number("--jobs", options->jobs, 1024, "Perform dry runs in N processes");
  for (const char* of_dry_runs : {"--from", "--to", "--default", "--jobs"}) command.exclude("--reports", of_dry_runs);
}

}  // namespace vrrpconvert
