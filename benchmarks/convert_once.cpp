// convert_once up|down ROUTERS: converts one store and prints the largest amount of memory that the process had, in
// bytes, beside that of the larger array of records. Setting up the store is left to a process of its own.
// convert_once make ROUTERS FILE: makes a store in the new layout.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "benchmarks/stores.h"
#include "libconvertvrrp.h"

namespace {

size_t largest_array(size_t routers, bool is_upgrade) {
  const size_t vr = is_upgrade ? sizeof(vrrp_old_config_record_t) : sizeof(vrrp_config_record_t);
  return routers * std::max(vr, sizeof(vrrp_ip_assoc_record_t));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return fprintf(stderr, "usage: convert_once up|down ROUTERS, or make ROUTERS FILE\n"), 2;
  const bool is_upgrade = strcmp(argv[1], "up") == 0;
  const int routers = atoi(argv[2]);
  bench::Device device;
  if (strcmp(argv[1], "make") == 0) {
    device.prepare(routers, false);
    std::filesystem::copy_file(device.store(), argv[3]);
    return 0;
  }
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
  printf("%s %d: peak %zu, larger array %zu, beyond it %.1f MiB\n", argv[1], routers, peak, array,
         (static_cast<double>(peak) - static_cast<double>(array)) / (1 << 20));
  return 0;
}
