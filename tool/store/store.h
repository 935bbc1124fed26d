// A store as the tool uses it: over the platform's store operations, with errors for users.
#ifndef TOOL_STORE_STORE_H
#define TOOL_STORE_STORE_H

#include <filesystem>
#include <functional>

#include "platform/pss.h"
#include "tool/record/stored_record.h"

namespace vrrpconvert {

// The directory at `path` with every symbolic link resolved. Throws Error where there is none.
std::filesystem::path existing_directory(const std::filesystem::path& path);

// Makes "nonvolatile:/" mean `root` for the platform in this process. Stores are opened by their whole path, under "/".
void set_nonvolatile_root(const std::filesystem::path& root);

class Store {
 public:
  // Opens an existing store. Throws Error.
  explicit Store(const std::filesystem::path& file);

  // Creates an empty store where there is nothing, and opens it.
  static Store create(const std::filesystem::path& file);

  // Throws Error unless `file` is a store, intact or damaged, that no process uses, or nothing at all.
  static void check_replaceable(const std::filesystem::path& file);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Read the first record in key order, and the one behind the record that was read last. Return false at the end.
  bool first(StoredRecord& record) const;
  bool next(StoredRecord& record) const;

  // Calls `visit` with every record in key order. Ends with Error when the operator interrupts.
  void for_each(const std::function<void(const StoredRecord&)>& visit) const;

  size_t count() const;

  // Adds a record. Returns false when its key is stored already.
  bool add(const StoredRecord& record);

  // Writes the records, added ones included, to `file`, atomically. An existing file of other content is kept under
  // another name by the first, and lost by the second.
  void write_copy(const std::filesystem::path& file) const;
  void replace(const std::filesystem::path& file) const;

 private:
  bool read(pss_location_t location, StoredRecord& record) const;
  void snapshot(const std::filesystem::path& file, uint32 flags) const;
  [[noreturn]] void fail(syserr_t status) const;

  std::filesystem::path file_;
  pss_service_t handle_;
};

}  // namespace vrrpconvert

#endif
