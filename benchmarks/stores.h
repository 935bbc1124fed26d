// Stores for conversions, and the same records in a plain table.
#ifndef BENCH_STORES_H
#define BENCH_STORES_H

#include <filesystem>
#include <functional>

namespace bench {

// A temporary nonvolatile root. Contains "d" for the store, "tmp" for the snapshot, and version files for both
// directions.
class Device {
 public:
  Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device();

  const std::filesystem::path& root() const { return root_; }
  std::filesystem::path store() const { return root_ / "d" / "vrrp-cfg_runtime_config"; }
  std::filesystem::path snapshot() const { return root_ / "tmp" / "vrrp-pss"; }
  std::filesystem::path table() const { return root_ / "table"; }  // a plain table with the same records

  // Creates a store and a table, each with `routers` VR configuration and `routers` IP association records in the
  // source layout of the direction. Removes the snapshot and sets the environment. Later calls with the same arguments
  // copy a saved store and table.
  void prepare(int routers, bool is_upgrade);

  // Throws std::runtime_error if a downgraded store does not have all records in the old layout. After an upgrade,
  // throws if the store has a record or the snapshot does not exist.
  void require_converted(int routers, bool is_upgrade) const;

  // Sets the environment for a direction.
  void use(bool is_upgrade);

 private:
  void make(int routers, bool old_layout, const std::filesystem::path& original);

  std::filesystem::path root_;
};

// Returns the wall-clock time of `work` in seconds.
double seconds(const std::function<void()>& work);

}  // namespace bench

#endif
