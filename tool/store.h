// A store as the tool uses it: over the platform's store operations, with errors for people.
#ifndef TOOL_STORE_H
#define TOOL_STORE_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/pss.h"

namespace vrrpconvert {

using Bytes = std::vector<uint8>;

// A stored record as it stands: its whole key and its whole value.
struct StoredRecord {
  Bytes key;
  Bytes value;
  bool operator==(const StoredRecord&) const = default;
};

// The folder at `path` with every symbolic link resolved. Throws Error where there is none.
std::filesystem::path existing_folder(const std::filesystem::path& path);

// Takes "nonvolatile:/" to be the folder `root` for the rest of the process.
void set_nonvolatile_root(const std::filesystem::path& root);

// The path below the nonvolatile root that the platform knows `path` by. Throws Error when `path` is not below it.
std::string nonvolatile_path(const std::filesystem::path& path);

class Store {
 public:
  // Opens what exists. Throws Error.
  explicit Store(const std::filesystem::path& file);

  // Whether `file` can be taken for a store that is replaced: a store, sound or damaged, that nobody uses, or nothing
  // at all. Throws Error where it cannot.
  static void check_replaceable(const std::filesystem::path& file);

  // Creates an empty store where there is nothing, and opens it.
  static Store create(const std::filesystem::path& file);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Read the first record in key order, and the one behind the record that was read last. Return false at the end.
  bool first(StoredRecord& record) const;
  bool next(StoredRecord& record) const;

  // Calls `take` with every record in key order. Ends with Error when the operator interrupts.
  void for_each(const std::function<void(const StoredRecord&)>& take) const;

  size_t count() const;

  // Adds a record. Returns false when its key is stored already.
  bool add(const StoredRecord& record);

  // Writes the records, added ones included, to `file`, atomically. An existing file of other content is kept under
  // another name by the first, and lost by the second.
  void write_copy(const std::filesystem::path& file) const;
  void replace(const std::filesystem::path& file) const;

 private:
  void snapshot(const std::filesystem::path& file, uint32 flags) const;
  bool read(pss_location_t location, StoredRecord& record) const;
  [[noreturn]] void fail(syserr_t status) const;

  std::filesystem::path file_;
  pss_service_t handle_;
};

// The error for `status` at `file`.
[[noreturn]] void throw_store_error(const std::filesystem::path& file, syserr_t status);

}  // namespace vrrpconvert

#endif
