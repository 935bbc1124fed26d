// A store, over the platform's store operations. Failures are errors for the operator.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "platform/embedded/pss_embedded.h"
#include "tool/record/stored_record.h"

namespace vrrpconvert {

// Sets the platform's root directory in this process. Stores are opened by absolute path, with the root "/".
void set_nonvolatile_root(const std::filesystem::path& root);

// The digest of all records of a store. It tells states of one store apart. It is no proof against an attacker, who can
// make another store with the same digest.
struct StoreDigest : pss_embedded_digest_t {
  bool operator==(const StoreDigest& other) const { return records == other.records && checksum == other.checksum; }
};
syserr_t get_digest(pss_service_t handle, StoreDigest* digest);

// Compares all records of two open stores. Moves both cursors. Returns 0, or the status of the failure.
syserr_t compare_records(pss_service_t one, pss_service_t other, bool* are_same);

// Throws the Error for `status` of the store `file`.
[[noreturn]] void throw_store_error(const std::filesystem::path& file, syserr_t status);

// Wait for another process that has the store open, in milliseconds.
inline constexpr unsigned usual_wait_ms = 5000, no_wait = 0;

// What becomes of a replaced file.
enum class Replaced {
  kept,    // rename it to NAME.N, unless it is a store with the same records and no sidecar files
  removed  // remove it; rename a directory, or a file with its sidecar files
};

class Store {
 public:
  // Opens a working copy of an existing store, and locks the store only while it reads. Throws Error.
  explicit Store(const std::filesystem::path& file, unsigned wait_ms = usual_wait_ms);

  // Opens a working copy of the image in the file `descriptor`; -1 is an empty store. Errors call the store `name`.
  Store(int descriptor, const std::filesystem::path& name);

  // Opens and locks a store until it is replaced. Returns null if the file does not exist, or if the store is damaged
  // or has an unfinished change. Throws Error for any other file.
  static std::unique_ptr<Store> open_to_replace(const std::filesystem::path& file);

  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  pss_service_t handle() const { return handle_; }

  // Read the first record in key order, and the next record. Return false at the end.
  bool first(StoredRecord& record) const;
  bool next(StoredRecord& record) const;

  // Calls `visit` with every record in key order. Throws Error.
  void for_each(const std::function<void(const StoredRecord&)>& visit) const;

  // Writes the image of the records for the constructor with a descriptor. Throws Error.
  void write_image(int descriptor) const;

  // Computes the digest. Throws Error.
  StoreDigest digest() const;

  // Adds a record. Returns false if its key is already stored.
  bool add(const StoredRecord& record);

  // Writes the records, added ones included, to the store `file`, atomically and durably. The file keeps the owner,
  // group and mode of the store that it replaces; a new file has mode 0600. Returns the name to which an existing file
  // was renamed, or an empty path.
  std::filesystem::path put(const std::filesystem::path& file, Replaced replaced) const;

  // Writes a new store. If `file` exists, returns false and changes nothing.
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

// Returns "FILE.2", the name to which the platform renamed an existing file; empty for number 0.
std::filesystem::path kept_name(const std::filesystem::path& file, uint32 number);

}  // namespace vrrpconvert
