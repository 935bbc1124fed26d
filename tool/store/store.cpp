#include "tool/store/store.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>

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

Exit exit_code_for(syserr_t status) {
  switch (status) {
    case SYSERR_PSS_BUSY:
      return exit_in_use;
    case SYSERR_PSS_IO:
    case SYSERR_PSS_NO_SPACE:
    case SYSERR_PSS_NO_MEMORY:
    case SYSERR_PSS_READ_ONLY:
    case SYSERR_PSS_NO_FILES:
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
    case SYSERR_PSS_TOO_LARGE:
      return "too_large";
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
      return "; let the sqlite3 shell finish it (sqlite3 STORE 'PRAGMA journal_mode=DELETE'), or remove the files "
             "beside "
             "the store that end in -journal and -wal if they are not the store's";
    case SYSERR_PSS_BUSY:
      return "; try again when it is done";
    case SYSERR_PSS_NO_SPACE:
      return "; make room in its directory, or raise the limit of the file size, and try again";
    case SYSERR_PSS_NO_MEMORY:
    case SYSERR_PSS_TOO_LARGE:
      return "; a store is held in memory";
    case SYSERR_PSS_READ_ONLY:
      return "; check the owner and mode of the file and its directory";
    default:
      return "";
  }
}

// Of the file at `path`, which is another one when the number is; 0 where nothing is.
ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
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

// A handle of the tool's own only reads, or is a copy.
Store::~Store() { (void)pss_embedded_discard(handle_); }

std::unique_ptr<Store> Store::open_to_replace(const fs::path& file) {
  if (!is_taken(file)) return nullptr;
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

fs::path Store::put(const fs::path& file, Existing existing) const {
  snapshot(file, existing == Existing::lost ? PSS_EMBEDDED_INHERIT | PSS_EMBEDDED_REPLACE : PSS_EMBEDDED_INHERIT);
  return kept_name(file, pss_embedded_kept());
}

bool Store::put_new(const fs::path& file) const { return snapshot(file, PSS_EMBEDDED_NEW_ONLY) == 0; }

// Returns 0, or SYSERR_PSS_EXISTS.
syserr_t Store::snapshot(const fs::path& file, uint32 flags) const {
  const ino_t earlier = file_number(file);
  const syserr_t status = pss_snapshot(handle_, flags, url_of(file).c_str());
  if (status == SYSERR_PSS_IO && file_number(file) != earlier) {
    const fs::path kept = kept_name(file, pss_embedded_kept());
    throw Error(exit_unknown, file.string() + ": is in place, but could not be made durable: a power cut could still " +
                                  "bring back what it replaced" + (kept.empty() ? "" : ", which is " + kept.string()));
  }
  if (status != 0 && status != SYSERR_PSS_EXISTS) throw_store_error(file, status);
  return status;
}

void Store::fail(syserr_t status) const { throw_store_error(file_, status); }

std::vector<fs::path> files_in(const fs::path& directory) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    files.push_back(at->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> unfinished_files_in(const fs::path& directory) {
  std::vector<fs::path> files = files_in(directory);
  std::erase_if(files, [](const fs::path& file) { return !file.filename().string().starts_with(".pss-"); });
  return files;
}

bool is_taken(const fs::path& path) { return file_number(path) != 0; }

fs::path kept_name(const fs::path& file, uint32 number) {
  return number == 0 ? fs::path() : fs::path(file.string() + "." + std::to_string(number));
}

}  // namespace vrrpconvert
