#include "tool/conversion/observation.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "platform/embedded/pss_embedded.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

Observation* begun = nullptr;  // in this process

// The operation that this program's own stands in front of.
template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

syserr_t noted(const pss_datum_t& key, syserr_t status) {
  if (begun == nullptr) return status;
  ++begun->shared().operations;
  if (status != 0) begun->note_failure(key, status);
  return status;
}

}  // namespace

Observation::Observation() : log_(memfd_create("failures", MFD_CLOEXEC)) {
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || log_ < 0) throw Error(exit_io, std::string("no shared memory: ") + strerror(errno));
  shared_ = new (memory) Shared{};
}

Observation::~Observation() {
  munmap(shared_, sizeof(Shared));
  close(log_);
}

void Observation::begin(const std::optional<StoreDigest>& expected) {
  shared_->expected = expected;
  begun = this;
}

void Observation::note_failure(const pss_datum_t& key, syserr_t status) const {
  uint32 size = key.siz;
  const iovec parts[] = {{&size, sizeof size}, {key.ptr, key.siz}, {&status, sizeof status}};
  [[maybe_unused]] const ssize_t written = writev(log_, parts, 3);  // a lost one costs a reason only
}

std::map<Bytes, syserr_t> Observation::failures() const {
  std::map<Bytes, syserr_t> failures;
  off_t at = 0;
  uint32 size;
  while (pread(log_, &size, sizeof size, at) == sizeof size) {
    Bytes key(size);
    syserr_t status = 0;
    at += sizeof size;
    if (pread(log_, key.data(), size, at) != static_cast<ssize_t>(size)) break;
    at += size;
    if (pread(log_, &status, sizeof status, at) != sizeof status) break;
    at += sizeof status;
    failures[key] = status;
  }
  return failures;
}

}  // namespace vrrpconvert

using vrrpconvert::begun;
using vrrpconvert::next;
using vrrpconvert::noted;

pss_service_t pss_open(const char* url, syserr_t* status) {
  const pss_service_t table = next(&pss_open, "pss_open")(url, status);
  if (begun == nullptr) return table;
  auto& shared = begun->shared();
  shared.open_status = *status;
  // Under the lock of the open store: what was looked at is what is converted.
  if (table == 0 || !shared.expected || vrrpconvert::digest_of(table) == *shared.expected) return table;
  shared.was_changed = true;
  (void)next(&pss_close, "pss_close")(table);  // nothing was changed through it
  *status = SYSERR_PSS_BUSY;
  return 0;
}

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  static const auto forward = next(&pss_store, "pss_store");
  return noted(*key, forward(table, mode, key, value));
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  static const auto forward = next(&pss_delete, "pss_delete");
  return noted(*key, forward(table, key));
}

syserr_t pss_close(pss_service_t table) {
  const syserr_t status = next(&pss_close, "pss_close")(table);
  if (begun != nullptr) begun->shared().close_status = status;
  return status;
}
