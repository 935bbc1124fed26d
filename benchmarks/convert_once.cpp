// convert_once up|down ROUTERS: converts a store; prints the peak memory of the process and the size of the larger
// array of records, in bytes.
//
// convert_once make ROUTERS FILE: creates a store in the new layout, and FILE-table with the same records.
//
// convert_once at ROOT [up]: downgrades or upgrades the store in ROOT/d.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchmarks/stores.h"
#include "libconvertvrrp.h"

namespace fs = std::filesystem;

namespace {

size_t largest_array(size_t routers, bool is_upgrade) {
  const size_t vr = is_upgrade ? sizeof(vrrp_old_config_record_t) : sizeof(vrrp_config_record_t);
  return routers * std::max(vr, sizeof(vrrp_ip_assoc_record_t));
}

// Prints the peak memory of this process during a conversion. Another process creates the store.
int measure_memory(bench::Device& device, int routers, bool is_upgrade) {
  const pid_t preparation = fork();
  if (preparation == 0) {
    device.prepare(routers, is_upgrade);
    _exit(0);
  }
  int status;
  waitpid(preparation, &status, 0);
  if (status != 0) return 1;
  device.use(is_upgrade);

  convert_gsync("/d", "", "", "");
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const size_t peak = static_cast<size_t>(usage.ru_maxrss) * 1024,
               array = largest_array(static_cast<size_t>(routers), is_upgrade);
  printf("%s %d: peak %zu, larger array %zu, beyond it %.1f MiB\n", is_upgrade ? "up" : "down", routers, peak, array,
         (static_cast<double>(peak) - static_cast<double>(array)) / (1 << 20));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr,
            "usage: convert_once up|down ROUTERS, convert_once make ROUTERS FILE, or convert_once at ROOT [up]\n");
    return 2;
  }
  bench::Device device;
  const std::string work = argv[1];
  if (work == "at") {
    device.use(argc == 4 && argv[3] == std::string("up"));
    setenv("PSS_NONVOLATILE_ROOT", argv[2], 1);
    return static_cast<int>(convert_gsync("/d", "", "", ""));
  }
  const int routers = atoi(argv[2]);
  if (work == "make" && argc == 4) {
    device.prepare(routers, false);
    fs::copy_file(device.store(), argv[3]);
    fs::copy_file(device.table(), std::string(argv[3]) + "-table");
    return 0;
  }
  return measure_memory(device, routers, work == "up");
}
