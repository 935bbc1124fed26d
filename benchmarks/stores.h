// Stores to convert, and the same records in a plain table.
#ifndef BENCH_STORES_H
#define BENCH_STORES_H

#include <filesystem>
#include <functional>

namespace bench {

// A directory of this process as the nonvolatile root, removed at the end. Holds "d" for the store, "tmp" for the
// snapshot, and version files for either direction.
class Device {
 public:
  Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device();

  const std::filesystem::path& root() const { return root_; }
  std::filesystem::path store() const { return root_ / "d" / "vrrp-cfg_runtime_config"; }
  std::filesystem::path snapshot() const { return root_ / "tmp" / "vrrp-pss"; }
  std::filesystem::path table() const { return root_ / "table"; }  // the same records, key and value in a plain table

  // Puts a store and a table with `routers` VR configuration and as many IP association records in place, in the layout
  // that the direction converts, and the environment for it. They are made once, and copied from then on.
  void prepare(int routers, bool is_upgrade);

  // Throws std::runtime_error unless every record of the store has been converted, and there is a snapshot of an
  // upgrade.
  void require_converted(int routers, bool is_upgrade) const;

  // Sets the environment for a direction.
  void use(bool is_upgrade);

 private:
  void make(int routers, bool old_layout, const std::filesystem::path& original);

  std::filesystem::path root_;
};

// The wall-clock seconds that `work` takes.
double seconds(const std::function<void()>& work);

}  // namespace bench

#endif
