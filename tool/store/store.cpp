#include "tool/store/store.h"

#include <stdlib.h>

#include <cstring>

#include "platform/syserr.h"
#include "tool/store/paths.h"
#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// main() sets PSS_NONVOLATILE_ROOT to "/", so a URL contains an absolute path.
std::string url_of(const fs::path& file) {
  return "nonvolatile:" + (existing_directory(file.parent_path()) / file.filename()).string();
}

pss_datum_t datum_of(const Bytes& bytes) {
  return {const_cast<uint8*>(bytes.data()), static_cast<uint32>(bytes.size())};
}

void assign(const pss_datum_t& datum, Bytes& bytes) {
  const auto* start = static_cast<const uint8*>(datum.ptr);
  bytes.assign(start, start + datum.siz);
}

Reason reason_of(syserr_t status) {
  constexpr struct {
    syserr_t status;
    Reason reason;
  } reasons[] = {{SYSERR_PSS_NO_STORE, Reason::missing},     {SYSERR_PSS_NOT_A_STORE, Reason::not_a_store},
                 {SYSERR_PSS_DAMAGED, Reason::damaged},      {SYSERR_PSS_UNTRUSTED, Reason::untrusted},
                 {SYSERR_PSS_BUSY, Reason::in_use},          {SYSERR_PSS_NO_SPACE, Reason::no_space},
                 {SYSERR_PSS_NO_MEMORY, Reason::no_memory},  {SYSERR_PSS_TOO_LARGE, Reason::too_large},
                 {SYSERR_PSS_READ_ONLY, Reason::permission}, {SYSERR_PSS_IO, Reason::io},
                 {SYSERR_PSS_NO_FILES, Reason::io}};
  for (const auto& known : reasons) {
    if (known.status == status) return known.reason;
  }
  return Reason::bad_input;
}

}  // namespace

void throw_store_error(const fs::path& file, syserr_t status) {
  const Reason reason = reason_of(status);
  for (const fs::path& path : {file, file.has_parent_path() ? file.parent_path() : "."}) {
    const char* protection = reason == Reason::permission ? protection_of(path) : nullptr;
    if (protection != nullptr) throw Error(reason, path.string() + ": " + protection, file.string());
  }
  throw Error(reason, file.string() + ": " + syserr2str(status) + advice_for(reason), file.string());
}

void set_nonvolatile_root(const fs::path& root) { setenv("PSS_NONVOLATILE_ROOT", root.c_str(), 1); }

syserr_t get_digest(pss_service_t handle, StoreDigest* digest) { return pss_embedded_digest(handle, digest); }

syserr_t compare_records(pss_service_t one, pss_service_t other, bool* are_same) {
  const auto equal = [](const pss_datum_t& left, const pss_datum_t& right) {
    return left.siz == right.siz && (left.siz == 0 || memcmp(left.ptr, right.ptr, left.siz) == 0);
  };
  *are_same = false;
  for (pss_location_t at = PSS_FIRST_KEY;; at = PSS_NEXT_KEY) {
    syserr_t status = 0, other_status = 0;
    const pss_datum_t *key = pss_move2location(one, at, &status),
                      *other_key = pss_move2location(other, at, &other_status);
    *are_same = key == nullptr && other_key == nullptr;
    if (key == nullptr || other_key == nullptr) return 0;
    if (status != 0 || other_status != 0) return status != 0 ? status : other_status;
    if (!equal(*key, *other_key)) return 0;
    const pss_datum_t *value = pss_getvalue(one, &status), *other_value = pss_getvalue(other, &other_status);
    if (value == nullptr || other_value == nullptr) return status != 0 ? status : other_status;
    if (!equal(*value, *other_value)) return 0;
  }
}

Store::Store(const fs::path& file, unsigned wait_ms) : file_(file) {
  syserr_t status = 0;
  handle_ = pss_embedded_open_copy(url_of(file).c_str(), wait_ms, &status);
  if (status != 0) fail(status);
}

Store::Store(int descriptor, const fs::path& name) : file_(name) {
  syserr_t status = 0;
  handle_ = pss_embedded_open_descriptor(descriptor, &status);
  if (status != 0) fail(status);
}

// Ignore the status: the store is a working copy, or was only read.
Store::~Store() { (void)pss_embedded_discard(handle_); }

std::unique_ptr<Store> Store::open_to_replace(const fs::path& file) {
  if (!path_exists(file)) return nullptr;
  syserr_t status = 0;
  const pss_service_t handle = pss_open(url_of(file).c_str(), &status);
  if (handle != 0) return std::unique_ptr<Store>(new Store(file, Opened{handle}));
  if (status != SYSERR_PSS_DAMAGED && status != SYSERR_PSS_UNTRUSTED) throw_store_error(file, status);
  return nullptr;
}

bool Store::read(pss_location_t location, StoredRecord& record) const {
  syserr_t status = 0;
  const pss_datum_t* key = pss_move2location(handle_, location, &status);
  if (key == nullptr) return false;
  if (status != 0) fail(status);
  assign(*key, record.key);
  const pss_datum_t* value = pss_getvalue(handle_, &status);
  if (value == nullptr) fail(status);
  assign(*value, record.value);
  return true;
}

bool Store::first(StoredRecord& record) const { return read(PSS_FIRST_KEY, record); }

bool Store::next(StoredRecord& record) const { return read(PSS_NEXT_KEY, record); }

void Store::for_each(const std::function<void(const StoredRecord&)>& visit) const {
  StoredRecord record;
  for (bool is_there = first(record); is_there; is_there = next(record)) visit(record);
}

void Store::write_image(int descriptor) const {
  const syserr_t status = pss_embedded_write_image(handle_, descriptor);
  if (status != 0) fail(status);
}

StoreDigest Store::digest() const {
  StoreDigest digest{};
  const syserr_t status = get_digest(handle_, &digest);
  if (status != 0) fail(status);
  return digest;
}

bool Store::add(const StoredRecord& record) {
  const pss_datum_t key = datum_of(record.key);
  const pss_datum_t value = datum_of(record.value);
  const syserr_t status = pss_store(handle_, PSS_NEW_ONLY, &key, &value);
  if (status != 0 && status != SYSERR_PSS_EXISTS) fail(status);
  return status == 0;
}

fs::path Store::put(const fs::path& file, Replaced replaced) const {
  snapshot(file, replaced == Replaced::removed ? PSS_EMBEDDED_INHERIT | PSS_EMBEDDED_REPLACE : PSS_EMBEDDED_INHERIT);
  return kept_name(file, pss_embedded_kept());
}

bool Store::put_new(const fs::path& file) const { return snapshot(file, PSS_EMBEDDED_NEW_ONLY) == 0; }

// Takes a snapshot. Returns 0 or SYSERR_PSS_EXISTS. Throws Error for any other status.
syserr_t Store::snapshot(const fs::path& file, uint32 flags) const {
  const ino_t earlier = file_number(file);
  const syserr_t status = pss_snapshot(handle_, flags, url_of(file).c_str());
  if (status == SYSERR_PSS_IO && file_number(file) != earlier) {
    const fs::path kept = kept_name(file, pss_embedded_kept());
    throw Error(Reason::unknown_outcome,
                file.string() + ": cannot sync the directory; the file was written" +
                    (kept.empty() ? "" : ", the earlier file was renamed to " + kept.string()) +
                    "; after a power failure the path may name the earlier file again");
  }
  if (status != 0 && status != SYSERR_PSS_EXISTS) throw_store_error(file, status);
  return status;
}

void Store::fail(syserr_t status) const { throw_store_error(file_, status); }

fs::path kept_name(const fs::path& file, uint32 number) {
  return number == 0 ? fs::path() : fs::path(file.string() + "." + std::to_string(number));
}

}  // namespace vrrpconvert
