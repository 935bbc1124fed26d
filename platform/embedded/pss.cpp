// The store operations. Each one looks up the store of its handle, checks its arguments and calls the store.

#include "platform/pss.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "platform/embedded/open_store.h"
#include "platform/embedded/pss_embedded.h"
#include "platform/syserr.h"

namespace {

using pss_embedded::Existing;
using pss_embedded::OpenStore;

constexpr int wait_ms = 5000;  // for another process that has the store open

struct DestroyStore {
  void operator()(OpenStore* store) const {
    store->~OpenStore();
    sqlite3_free(store);
  }
};
using OwnedStore = std::unique_ptr<OpenStore, DestroyStore>;

// Allocates with SQLite, which returns null if there is no memory. Without exceptions, operator new would end the host.
OwnedStore new_store() {
  void* memory = sqlite3_malloc(sizeof(OpenStore));
  return OwnedStore(memory != nullptr ? new (memory) OpenStore : nullptr);
}

struct Handle {
  pss_service_t number = 0;
  OpenStore* store = nullptr;
};

// The open stores. Handle numbers are not reused, so that a closed handle never names a later store.
Handle handles[PSS_EMBEDDED_HANDLES_MAX];
pss_service_t last_number = 0;
uint32 last_kept = 0;  // of the last pss_snapshot

Handle* find(pss_service_t number) {
  for (Handle& handle : handles) {
    if (handle.number == number) return &handle;
  }
  return nullptr;
}

pss_service_t next_number() {
  do {
    ++last_number;
  } while (last_number == 0 || find(last_number) != nullptr);
  return last_number;
}

// Ends a handle. Returns its store, or null if there is no such handle.
OwnedStore take_store(pss_service_t table) {
  Handle* handle = table != 0 ? find(table) : nullptr;
  if (handle == nullptr) return nullptr;
  OwnedStore store(handle->store);
  *handle = {};
  return store;
}

// Returns the store of a handle, or null and the status that makes it unusable.
OpenStore* usable_store(pss_service_t table, syserr_t* status) {
  Handle* handle = table != 0 ? find(table) : nullptr;
  *status = handle != nullptr ? handle->store->failure() : SYSERR_PSS_BAD_HANDLE;
  return *status == 0 ? handle->store : nullptr;
}

// Creates a handle for the store that `open` opens.
template <typename Open>
pss_service_t open_handle(syserr_t* status, Open open) {
  Handle* handle = find(0);
  OwnedStore store = handle != nullptr ? new_store() : nullptr;
  *status = store != nullptr ? open(store.get()) : SYSERR_PSS_NO_MEMORY;
  if (*status != 0) return 0;
  *handle = {next_number(), store.release()};
  return handle->number;
}

bool is_key(const pss_datum_t* key) {
  return key != nullptr && key->ptr != nullptr && key->siz > 0 && key->siz <= PSS_EMBEDDED_KEY_MAX;
}

bool is_value(const pss_datum_t* value) {
  return value != nullptr && value->siz <= PSS_EMBEDDED_VALUE_MAX && (value->ptr != nullptr || value->siz == 0);
}

// Returns the empty key of a failed move. Null would mean the end of the store.
pss_datum_t* failed_move() {
  static char nothing;
  static pss_datum_t no_key;
  no_key = {&nothing, 0};  // every time, because the caller may have changed it
  return &no_key;
}

pss_datum_t* key_after_move(OpenStore* store, syserr_t status) {
  if (status == 0) return store->key();
  return status == SYSERR_PSS_NOKEY ? nullptr : failed_move();
}

}  // namespace

pss_service_t pss_open(const char* url, syserr_t* status) {
  return open_handle(status, [url](OpenStore* store) { return store->open(url, wait_ms); });
}

syserr_t pss_close(pss_service_t table) {
  const OwnedStore store = take_store(table);
  return store != nullptr ? store->close() : SYSERR_PSS_BAD_HANDLE;
}

pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status) {
  OpenStore* store = usable_store(table, status);
  if (store != nullptr && !is_key(key)) *status = SYSERR_PSS_BAD_ARGUMENT;
  if (*status != 0) return failed_move();
  // Compare with a copy: `key` may point into the current row, which the move invalidates.
  uint8 wanted[PSS_EMBEDDED_KEY_MAX];
  const uint32 size = key->siz;
  memcpy(wanted, key->ptr, size);
  *status = store->move_to_key({wanted, size});
  pss_datum_t* found = key_after_move(store, *status);
  if (*status == 0 && (found->siz != size || memcmp(found->ptr, wanted, size) != 0)) *status = SYSERR_PSS_NOKEY;
  return found;
}

pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status) {
  OpenStore* store = usable_store(table, status);
  if (store == nullptr) return failed_move();
  *status = store->move_to_location(location);
  return key_after_move(store, *status);
}

const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status) {
  OpenStore* store = usable_store(table, status);
  if (store == nullptr) return nullptr;
  *status = store->read_value();
  return *status == 0 ? store->value() : nullptr;
}

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  syserr_t status;
  OpenStore* store = usable_store(table, &status);
  if (store == nullptr) return status;
  if (!is_key(key) || !is_value(value) || (mode != PSS_NEW_ONLY && mode != PSS_REPLACE)) {
    return SYSERR_PSS_BAD_ARGUMENT;
  }
  return store->store(mode, *key, *value);
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  syserr_t status;
  OpenStore* store = usable_store(table, &status);
  if (store == nullptr) return status;
  return is_key(key) ? store->remove(*key) : SYSERR_PSS_BAD_ARGUMENT;
}

syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  last_kept = 0;
  syserr_t status;
  OpenStore* store = usable_store(table, &status);
  if (store == nullptr) return status;
  constexpr uint32 all = PSS_EMBEDDED_REPLACE | PSS_EMBEDDED_NEW_ONLY | PSS_EMBEDDED_INHERIT;
  constexpr uint32 conflict = PSS_EMBEDDED_REPLACE | PSS_EMBEDDED_NEW_ONLY;
  if ((flags & ~all) != 0 || (flags & conflict) == conflict) return SYSERR_PSS_BAD_ARGUMENT;
  const Existing existing = (flags & PSS_EMBEDDED_REPLACE) != 0    ? Existing::replace
                            : (flags & PSS_EMBEDDED_NEW_ONLY) != 0 ? Existing::refuse
                                                                   : Existing::keep;
  return store->snapshot(url, existing, (flags & PSS_EMBEDDED_INHERIT) != 0, &last_kept);
}

uint32 pss_embedded_kept(void) { return last_kept; }

pss_service_t pss_embedded_open_copy(const char* url, uint32 wait, syserr_t* status) {
  return open_handle(status, [=](OpenStore* store) {
    return store->open_copy(url, static_cast<int>(wait < INT_MAX ? wait : INT_MAX));
  });
}

pss_service_t pss_embedded_open_descriptor(int fd, syserr_t* status) {
  return open_handle(status, [fd](OpenStore* store) { return store->open_descriptor(fd); });
}

syserr_t pss_embedded_digest(pss_service_t table, pss_embedded_digest_t* digest) {
  syserr_t status;
  OpenStore* store = usable_store(table, &status);
  pss_embedded::Digest found;
  if (store != nullptr) status = store->get_digest(&found);
  *digest = {found.records, found.checksum};
  return status;
}

syserr_t pss_embedded_write_image(pss_service_t table, int fd) {
  syserr_t status;
  OpenStore* store = usable_store(table, &status);
  return store != nullptr ? store->write_image(fd) : status;
}

syserr_t pss_embedded_create(const char* url) {
  syserr_t status;
  const pss_service_t table = pss_embedded_open_descriptor(-1, &status);
  if (table == 0) return status;
  status = pss_snapshot(table, PSS_EMBEDDED_NEW_ONLY, url);
  (void)pss_embedded_discard(table);  // cannot fail: the handle is new
  return status;
}

syserr_t pss_embedded_discard(pss_service_t table) {
  // A store that is destroyed without close() does not change its file.
  return take_store(table) != nullptr ? 0 : SYSERR_PSS_BAD_HANDLE;
}
