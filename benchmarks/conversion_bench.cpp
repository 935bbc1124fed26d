// Conversions of embedded stores: the library and the bare loop, alternately in one run, so that other load affects
// both. The times are wall-clock times, with the durable commit.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/bare_loop.h"
#include "benchmarks/stores.h"
#include "libconvertvrrp.h"

namespace {

bench::Device& device() {
  static bench::Device the_device;
  return the_device;
}

void convert() { convert_gsync("/d", "", "", ""); }

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double convert_by_library(int routers, bool is_upgrade) {
  device().prepare(routers, is_upgrade);
  const double time = bench::seconds(convert);
  device().require_converted(routers, is_upgrade);
  return time;
}

double convert_by_bare_loop(int routers, bool is_upgrade, bench::Phases& phases) {
  device().prepare(routers, is_upgrade);
  const double time = bench::seconds([&] {
    phases = is_upgrade ? bench::bare_upgrade(device().store(), device().snapshot())
                        : bench::bare_downgrade(device().store());
  });
  device().require_converted(routers, is_upgrade);
  return time;
}

// Counters: microseconds per record; the time relative to the bare loop and to one SQL statement; the phases of the
// bare loop relative to the SQL statement.
void convert_untraced(benchmark::State& state, bool is_upgrade) {
  const int routers = static_cast<int>(state.range(0));
  std::vector<double> library_times, to_bare, to_statement;
  std::map<std::string, std::vector<double>> phase_times;
  for (auto _ : state) {
    // Alternate the order too.
    bench::Phases phases;
    const bool is_first = library_times.size() % 2 == 0;
    double library = 0;
    if (is_first) library = convert_by_library(routers, is_upgrade);
    const double bare = convert_by_bare_loop(routers, is_upgrade, phases);
    if (!is_first) library = convert_by_library(routers, is_upgrade);
    const double statement = bench::seconds([&] { bench::change_by_statement(device().table(), is_upgrade); });
    state.SetIterationTime(library);
    library_times.push_back(library);
    to_bare.push_back(library / bare);
    to_statement.push_back(library / statement);
    for (const auto& [name, time] : {std::pair{"check", phases.check},
                                     {"snapshot", phases.snapshot},
                                     {"read", phases.read},
                                     {"write", phases.write},
                                     {"digest", phases.digest},
                                     {"commit", phases.commit}}) {
      phase_times[name].push_back(time / statement);
    }
  }
  state.counters["us/record"] = median(library_times) * 1e6 / (2.0 * routers);
  state.counters["x_bare_loop"] = median(to_bare);
  state.counters["x_statement"] = median(to_statement);
  for (const auto& [name, times] : phase_times) state.counters["phase_" + name] = median(times);
}

double convert_traced_by_library(int routers, bool is_upgrade, const std::string& log) {
  device().prepare(routers, is_upgrade);
  std::ofstream(log).flush();
  trace_fd = open(log.c_str(), O_RDWR | O_APPEND);
  const double library = bench::seconds(convert);
  close(trace_fd);
  trace_fd = -1;
  device().require_converted(routers, is_upgrade);
  return library;
}

std::vector<std::string> lines_of(const std::string& log) {
  std::vector<std::string> lines;
  std::ifstream text(log);
  for (std::string line; std::getline(text, line);) lines.push_back(line + "\n");
  return lines;
}

double write_lines(const std::vector<std::string>& lines, const std::string& copy) {
  std::ofstream(copy).flush();
  const int fd = open(copy.c_str(), O_RDWR | O_APPEND);
  sync();
  const double loop = bench::seconds([&] {
    for (const std::string& line : lines) {
      if (write(fd, line.data(), line.size()) < 0 || fsync(fd) != 0) throw std::runtime_error("a line is not written");
    }
  });
  close(fd);
  return loop;
}

// Counters: the time relative to a loop that writes and syncs the same lines, and relative to that loop plus the same
// conversion without a trace.
void convert_traced(benchmark::State& state, bool is_upgrade) {
  const int routers = static_cast<int>(state.range(0));
  const std::string log = device().root() / "log", copy = device().root() / "log-copy";
  std::vector<double> to_lines, to_both;
  std::vector<std::string> lines;
  for (auto _ : state) {
    const double untraced = convert_by_library(routers, is_upgrade);
    // Alternate the order after the first round, which provides the lines.
    const bool is_first = to_lines.size() % 2 == 0;
    double loop = is_first ? 0 : write_lines(lines, copy);
    const double library = convert_traced_by_library(routers, is_upgrade, log);
    lines = lines_of(log);
    if (is_first) loop = write_lines(lines, copy);
    state.SetIterationTime(library);
    to_lines.push_back(library / loop);
    to_both.push_back(library / (loop + untraced));
  }
  state.counters["lines"] = static_cast<double>(lines.size());
  state.counters["x_line_loop"] = median(to_lines);
  state.counters["x_line_loop_and_untraced"] = median(to_both);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const bool is_upgrade : {false, true}) {
    const std::string direction = is_upgrade ? "upgrade" : "downgrade";
    for (const auto& [routers, rounds] : {std::pair{1000, 15}, {10000, 9}, {100000, 5}, {1000000, 3}}) {
      benchmark::RegisterBenchmark((direction + "/routers").c_str(), convert_untraced, is_upgrade)
          ->Arg(routers)
          ->Iterations(rounds)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark((direction + "_traced/routers").c_str(), convert_traced, is_upgrade)
        ->Arg(1000)
        ->Iterations(15)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RunSpecifiedBenchmarks();
}
