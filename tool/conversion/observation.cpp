#include "tool/conversion/observation.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <new>
#include <string>

#include "platform/embedded/pss_embedded.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

Observation* begun = nullptr;  // the observation of this process

// Returns the next definition of an operation, after the one in this program.
template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

syserr_t noted(const pss_datum_t& key, syserr_t status) {
  if (begun != nullptr) begun->note_operation(key, status);
  return status;
}

}  // namespace

Observation::Observation() {
  void* memory = mmap(nullptr, sizeof(Observed), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw Error(Reason::io, std::string("cannot allocate shared memory: ") + strerror(errno));
  observed_ = new (memory) Observed{};
}

Observation::~Observation() {
  if (begun == this) begun = nullptr;
  munmap(observed_, sizeof(Observed));
}

void Observation::begin(const RunOptions& options) {
  is_dry_run = options.is_dry_run;
  result = options.result;
  original = options.original.handle();
  begun = this;
}

void Observation::note_operation(const pss_datum_t& key, syserr_t status) const {
  __atomic_fetch_add(&observed_->operations, 1, __ATOMIC_RELAXED);
  if (status == 0) return;
  const auto* bytes = static_cast<const uint8*>(key.ptr);
  // Ignore a failure: without this line only the reason is missing in the report.
  (void)dprintf(log_.descriptor(), "%s %u\n", hex_of({bytes, key.siz}).c_str(), status);
}

std::map<std::string, syserr_t> Observation::failures() const {
  std::map<std::string, syserr_t> failures;
  std::ifstream log(log_.path());
  std::string key;
  for (syserr_t status; log >> key >> status;) failures[key] = status;
  return failures;
}

}  // namespace vrrpconvert

using vrrpconvert::begun;
using vrrpconvert::next;
using vrrpconvert::noted;

pss_service_t pss_open(const char* url, syserr_t* status) {
  if (begun != nullptr && begun->is_dry_run) {
    *status = 0;
    return begun->original;
  }
  const pss_service_t table = next(&pss_open, "pss_open")(url, status);
  if (begun == nullptr) return table;
  auto& observed = begun->observed();
  // Compare all records while the store is locked, so that the library converts the same records that the dry run saw.
  bool is_same = false;
  if (table != 0) *status = vrrpconvert::compare_records(table, begun->original, &is_same);
  observed.was_changed = *status == 0 && !is_same;
  if (observed.was_changed) *status = SYSERR_PSS_BUSY;
  observed.open_status = *status;
  if (*status == 0 || table == 0) return table;
  (void)next(&pss_close, "pss_close")(table);  // ignored: nothing was changed
  return 0;
}

syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  if (begun != nullptr && begun->is_dry_run) return 0;
  const syserr_t status = next(&pss_snapshot, "pss_snapshot")(table, flags, url);
  if (begun == nullptr) return status;
  auto& observed = begun->observed();
  observed.has_snapshot = status == 0;
  observed.snapshot_status = status;
  observed.kept_number = pss_embedded_kept();
  return status;
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
  if (begun == nullptr) return next(&pss_close, "pss_close")(table);
  auto& observed = begun->observed();
  observed.has_closed = vrrpconvert::get_digest(table, &observed.closed) == 0;
  if (begun->is_dry_run) {
    if (begun->result >= 0) observed.close_status = pss_embedded_write_image(table, begun->result);
  } else if (observed.snapshot_status != 0) {
    // Roll back: without a snapshot no file would contain the deleted records.
    (void)pss_embedded_discard(table);
    observed.close_status = observed.snapshot_status;
  } else {
    observed.close_status = next(&pss_close, "pss_close")(table);
  }
  return observed.close_status;
}
