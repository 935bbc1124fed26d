// Whole conversions of embedded stores: the library beside the least that can be done, in one run and in turns, so that
// what else the machine does meets both. Time is wall-clock time, durable commit included.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
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

// Counters: microseconds a record, and how many times as long as the bare loop and as one SQL statement it takes.
void convert_untraced(benchmark::State& state, bool is_upgrade) {
  const int routers = static_cast<int>(state.range(0));
  std::vector<double> library_times, to_bare, to_statement;
  for (auto _ : state) {
    device().prepare(routers, is_upgrade);
    const double library = bench::seconds(convert);
    const double statement = bench::seconds([&] { bench::change_by_statement(device().table(), is_upgrade); });
    device().prepare(routers, is_upgrade);
    const double bare = bench::seconds([&] {
      if (is_upgrade)
        bench::bare_upgrade(device().store(), device().snapshot());
      else
        bench::bare_downgrade(device().store());
    });
    state.SetIterationTime(library);
    library_times.push_back(library);
    to_bare.push_back(library / bare);
    to_statement.push_back(library / statement);
  }
  state.counters["us/record"] = median(library_times) * 1e6 / (2.0 * routers);
  state.counters["x_bare_loop"] = median(to_bare);
  state.counters["x_statement"] = median(to_statement);
}

// Counters: how many times as long as a loop that writes and syncs the very same lines it takes.
void convert_traced(benchmark::State& state, bool is_upgrade) {
  const int routers = static_cast<int>(state.range(0));
  const std::string log = device().root() / "log", copy = device().root() / "log-copy";
  std::vector<double> ratios;
  for (auto _ : state) {
    device().prepare(routers, is_upgrade);
    std::ofstream(log).flush();
    trace_fd = open(log.c_str(), O_RDWR | O_APPEND);
    const double library = bench::seconds(convert);
    close(trace_fd);
    trace_fd = -1;

    std::vector<std::string> lines;
    std::ifstream text(log);
    for (std::string line; std::getline(text, line);) lines.push_back(line + "\n");
    std::ofstream(copy).flush();
    const int copy_fd = open(copy.c_str(), O_RDWR | O_APPEND);
    const double loop = bench::seconds([&] {
      for (const std::string& line : lines) {
        if (write(copy_fd, line.data(), line.size()) < 0 || fsync(copy_fd) != 0) state.SkipWithError("cannot write");
      }
    });
    close(copy_fd);
    state.SetIterationTime(library);
    ratios.push_back(library / loop);
    state.counters["lines"] = static_cast<double>(lines.size());
  }
  state.counters["x_line_loop"] = median(ratios);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const bool is_upgrade : {false, true}) {
    const std::string direction = is_upgrade ? "upgrade" : "downgrade";
    for (const auto& [routers, rounds] : {std::pair{1000, 15}, {10000, 9}, {100000, 5}, {1000000, 1}}) {
      benchmark::RegisterBenchmark((direction + "/routers").c_str(), convert_untraced, is_upgrade)
          ->Arg(routers)
          ->Iterations(rounds)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark((direction + "_traced/routers").c_str(), convert_traced, is_upgrade)
        ->Arg(1000)
        ->Iterations(5)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RunSpecifiedBenchmarks();
}
