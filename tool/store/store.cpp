#include "tool/store/store.h"

#include <stdlib.h>
#include <sys/stat.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "platform/embedded/pss_embedded.h"
#include "platform/syserr.h"
#include "tool/support/error.h"
#include "tool/support/interrupt.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// The platform resolves a URL below PSS_NONVOLATILE_ROOT, which is "/" here.
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

void discard(pss_service_t handle) {
  // Another platform, loaded before the embedded one, knows only its own handles. Closing one keeps what was changed: a
  // scratch file at most.
  if (pss_embedded_discard(handle) == SYSERR_PSS_BAD_HANDLE) (void)pss_close(handle);
}

Exit exit_code_for(syserr_t status) {
  switch (status) {
    case SYSERR_PSS_BUSY:
      return exit_in_use;
    case SYSERR_PSS_IO:
    case SYSERR_PSS_NO_SPACE:
    case SYSERR_PSS_NO_MEMORY:
    case SYSERR_PSS_READ_ONLY:
      return exit_io;
    default:
      return exit_bad_input;
  }
}

const char* reason_for(syserr_t status) {
  switch (status) {
    case SYSERR_PSS_NO_STORE:
      return "missing";
    case SYSERR_PSS_NOT_A_STORE:
      return "not_a_store";
    case SYSERR_PSS_DAMAGED:
      return "damaged";
    case SYSERR_PSS_READ_ONLY:
      return "permission";
    case SYSERR_PSS_UNTRUSTED:
      return "untrusted";
    case SYSERR_PSS_NO_SPACE:
      return "no_space";
    case SYSERR_PSS_NO_MEMORY:
      return "no_memory";
    default:
      return nullptr;
  }
}

const char* advice_for(syserr_t status) {
  switch (status) {
    case SYSERR_PSS_NOT_A_STORE:
      return "; expected a store that vrrpconvert import or the store's manager wrote";
    case SYSERR_PSS_DAMAGED:
      return "; nothing was changed: put a copy or snapshot of it back";
    case SYSERR_PSS_UNTRUSTED:
      return "; look at the files beside it that end in -journal, -wal and -shm, and remove what is not the store's";
    case SYSERR_PSS_BUSY:
      return "; try again when it is done";
    case SYSERR_PSS_NO_SPACE:
      return "; make room and try again";
    case SYSERR_PSS_READ_ONLY:
      return "; check the owner and mode of the file and its directory";
    default:
      return "";
  }
}

}  // namespace

void throw_store_error(const fs::path& file, syserr_t status) {
  throw Error(exit_code_for(status), file.string() + ": " + syserr2str(status) + advice_for(status), reason_for(status),
              file.string());
}

fs::path existing_directory(const fs::path& path) {
  std::error_code error;
  const fs::path directory = fs::canonical(path.empty() ? "." : path, error);
  if (error || !fs::is_directory(directory))
    throw Error(exit_bad_input, path.string() + ": no such directory", "missing");
  return directory;
}

void set_nonvolatile_root(const fs::path& root) { setenv("PSS_NONVOLATILE_ROOT", root.c_str(), 1); }

StoreDigest digest_of(pss_service_t handle) {
  XXH3_state_t state;
  XXH3_64bits_reset(&state);
  const auto add = [&state](const pss_datum_t& datum) {
    XXH3_64bits_update(&state, &datum.siz, sizeof datum.siz);
    XXH3_64bits_update(&state, datum.ptr, datum.siz);
  };
  syserr_t status = 0;
  const pss_datum_t* key = pss_move2location(handle, PSS_FIRST_KEY, &status);
  for (; key != nullptr && status == 0; key = pss_move2location(handle, PSS_NEXT_KEY, &status)) {
    add(*key);
    const pss_datum_t* value = pss_getvalue(handle, &status);
    if (value != nullptr) add(*value);
  }
  return XXH3_64bits_digest(&state);
}

Store::Store(const fs::path& file) : file_(file) {
  syserr_t status = 0;
  handle_ = pss_open(url_of(file).c_str(), &status);
  if (status != 0) fail(status);
}

Store Store::create(const fs::path& file) {
  const syserr_t status = pss_embedded_create(url_of(file).c_str());
  if (status != 0) throw_store_error(file, status);
  return Store(file);
}

// Changes are renamed into place as a copy: nothing is ever kept through a handle of the tool's own.
Store::~Store() { discard(handle_); }

std::unique_ptr<Store> Store::open_to_replace(const fs::path& file) {
  if (file_number(file) == 0) return nullptr;
  syserr_t status = 0;
  const pss_service_t handle = pss_open(url_of(file).c_str(), &status);
  if (handle != 0) return std::unique_ptr<Store>(new Store(file, handle));
  if (status != SYSERR_PSS_DAMAGED) throw_store_error(file, status);
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

bool Store::next(StoredRecord& record) const {
  end_if_interrupted();
  return read(PSS_NEXT_KEY, record);
}

void Store::for_each(const std::function<void(const StoredRecord&)>& visit) const {
  StoredRecord record;
  for (bool is_there = first(record); is_there; is_there = next(record)) visit(record);
}

size_t Store::count() const {
  size_t records = 0;
  for_each([&records](const StoredRecord&) { ++records; });
  return records;
}

bool Store::add(const StoredRecord& record) {
  const pss_datum_t key = datum_of(record.key);
  const pss_datum_t value = datum_of(record.value);
  const syserr_t status = pss_store(handle_, PSS_NEW_ONLY, &key, &value);
  if (status != 0 && status != SYSERR_PSS_EXISTS) fail(status);
  return status == 0;
}

void Store::write_copy(const fs::path& file) const { snapshot(file, 0); }

void Store::replace(const fs::path& file) const { snapshot(file, PSS_EMBEDDED_REPLACE); }

void Store::snapshot(const fs::path& file, uint32 flags) const {
  const ino_t earlier = file_number(file);
  const syserr_t status = pss_snapshot(handle_, flags, url_of(file).c_str());
  if (status == SYSERR_PSS_IO && file_number(file) != earlier) {
    throw Error(exit_unknown, file.string() +
                                  ": is in place, but could not be made durable: a power cut could still bring "
                                  "back what it replaced");
  }
  if (status != 0) throw_store_error(file, status);
}

void Store::fail(syserr_t status) const { throw_store_error(file_, status); }

StoreCopy::StoreCopy(const fs::path& original) : scratch_(temporary_directory()) {
  const fs::path copy = scratch_.path() / "copy";
  Store(original).write_copy(copy);
  store_ = std::make_unique<Store>(copy);
}

ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

fs::path kept_name(const fs::path& path, ino_t number) {
  for (unsigned i = 1;; ++i) {
    fs::path name = path.string() + "." + std::to_string(i);
    if (file_number(name) == number) return name;
    // The platform takes the first name that neither a file nor a sidecar file has.
    const bool is_taken = file_number(name) != 0 || file_number(name.string() + "-journal") != 0 ||
                          file_number(name.string() + "-wal") != 0 || file_number(name.string() + "-shm") != 0;
    if (!is_taken) return {};
  }
}

}  // namespace vrrpconvert
