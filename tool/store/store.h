// A store as the tool uses it: over the platform's store operations, with errors for users.
#ifndef TOOL_STORE_STORE_H
#define TOOL_STORE_STORE_H

#include <filesystem>
#include <functional>
#include <memory>

#include "platform/pss.h"
#include "tool/record/stored_record.h"
#include "tool/support/scratch_directory.h"

namespace vrrpconvert {

// The directory at `path` with every symbolic link resolved. Throws Error where there is none.
std::filesystem::path existing_directory(const std::filesystem::path& path);

// Makes "nonvolatile:/" mean `root` for the platform in this process. Stores are opened by their whole path, under "/".
void set_nonvolatile_root(const std::filesystem::path& root);

// All records of a store as one number: stores with different records differ in it.
using StoreDigest = uint64_t;
StoreDigest digest_of(pss_service_t handle);

// Throws the error for `status` at `file`.
[[noreturn]] void throw_store_error(const std::filesystem::path& file, syserr_t status);

class Store {
 public:
  // Opens an existing store; no other process can open it meanwhile. Throws Error.
  explicit Store(const std::filesystem::path& file);

  // Creates an empty store where there is nothing, and opens it.
  static Store create(const std::filesystem::path& file);

  // Opens a store that is to be replaced, which keeps other processes out of it until then. Null where there is
  // nothing, or a damaged store. Throws Error where something else is.
  static std::unique_ptr<Store> open_to_replace(const std::filesystem::path& file);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Read the first record in key order, and the one behind the record that was read last. Return false at the end.
  bool first(StoredRecord& record) const;
  bool next(StoredRecord& record) const;

  // Calls `visit` with every record in key order. Ends with Error when the operator interrupts.
  void for_each(const std::function<void(const StoredRecord&)>& visit) const;

  size_t count() const;
  StoreDigest digest() const { return digest_of(handle_); }

  // Adds a record. Returns false when its key is stored already.
  bool add(const StoredRecord& record);

  // Writes the records, added ones included, to `file`, atomically. An existing file of other content is kept under
  // another name by the first, and lost by the second.
  void write_copy(const std::filesystem::path& file) const;
  void replace(const std::filesystem::path& file) const;

 private:
  explicit Store(const std::filesystem::path& file, pss_service_t handle) : file_(file), handle_(handle) {}
  bool read(pss_location_t location, StoredRecord& record) const;
  void snapshot(const std::filesystem::path& file, uint32 flags) const;
  [[noreturn]] void fail(syserr_t status) const;

  std::filesystem::path file_;
  pss_service_t handle_;
};

// A private copy of a store, taken in one step, so that other processes need not wait while it is read.
class StoreCopy {
 public:
  explicit StoreCopy(const std::filesystem::path& original);
  const Store& store() const { return *store_; }

 private:
  ScratchDirectory scratch_;
  std::unique_ptr<Store> store_;
};

// The number of the file at `path`, or 0; and where the file of that number is kept when another one took its place,
// empty where nothing is.
ino_t file_number(const std::filesystem::path& path);
std::filesystem::path kept_name(const std::filesystem::path& path, ino_t number);

}  // namespace vrrpconvert

#endif
