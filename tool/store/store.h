// A store as the tool uses it: over the platform's store operations, with errors for users.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "platform/pss.h"
#include "tool/record/stored_record.h"

namespace vrrpconvert {

// Makes "nonvolatile:/" mean `root` for the platform in this process. Stores are opened by their whole path, under "/".
void set_nonvolatile_root(const std::filesystem::path& root);

// All records of a store: stores with different records have different digests.
struct StoreDigest {
  uint64_t records = 0;  // how many there are
  uint64_t checksum = 0;
  bool operator==(const StoreDigest&) const = default;
};
syserr_t get_digest(pss_service_t handle, StoreDigest* digest);

// Throws the error for `status` at `file`.
[[noreturn]] void throw_store_error(const std::filesystem::path& file, syserr_t status);

// How long a store that another process holds is waited for, in milliseconds.
inline constexpr unsigned usual_wait_ms = 5000, no_wait = 0;

// What becomes of an existing file where a store is put.
enum class Existing {
  kept,  // under a name of its own, unless it is a store with the same records
  lost   // but for a directory and sidecar files, which are kept
};

class Store {
 public:
  // Opens a copy of an existing store in memory, so that no other process waits for it. Throws Error.
  explicit Store(const std::filesystem::path& file, unsigned wait_ms = usual_wait_ms);

  // Opens the image in the file `descriptor`, which errors name `name`; -1 stands for an empty store.
  Store(int descriptor, const std::filesystem::path& name);

  // Opens a store that is to be replaced, which keeps other processes out of it until then. Null where there is
  // nothing, or a store that only a copy can help. Throws Error where something else is.
  static std::unique_ptr<Store> open_to_replace(const std::filesystem::path& file);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  pss_service_t handle() const { return handle_; }

  // Read the first record in key order, and the one behind the record that was read last. Return false at the end.
  bool first(StoredRecord& record) const;
  bool next(StoredRecord& record) const;

  // Calls `visit` with every record in key order. Ends with Error when the operator interrupts.
  void for_each(const std::function<void(const StoredRecord&)>& visit) const;

  // Throws Error.
  StoreDigest digest() const;

  // Adds a record. Returns false when its key is stored already.
  bool add(const StoredRecord& record);

  // Puts a durable store with the records, added ones included, at `file`, atomically. It has the owner, group and mode
  // of a store that it replaces, else mode 0600. Returns the name under which an existing file is kept, if it is.
  std::filesystem::path put(const std::filesystem::path& file, Existing existing) const;

  // The same where there is nothing. Returns false, and changes nothing, where there is something.
  bool put_new(const std::filesystem::path& file) const;

 private:
  struct Opened {
    pss_service_t handle;
  };
  Store(const std::filesystem::path& file, Opened opened) : file_(file), handle_(opened.handle) {}
  bool read(pss_location_t location, StoredRecord& record) const;
  syserr_t snapshot(const std::filesystem::path& file, uint32 flags) const;
  [[noreturn]] void fail(syserr_t status) const;

  std::filesystem::path file_;
  pss_service_t handle_;
};

// "FILE.2", the name under which the platform keeps what was there; empty for the number 0.
std::filesystem::path kept_name(const std::filesystem::path& file, uint32 number);

}  // namespace vrrpconvert
