// The texts of statuses.

#include "platform/syserr.h"

#include <cstdio>

#include "platform/embedded/pss_embedded.h"

namespace {

constexpr struct {
  syserr_t status;
  const char* text;
} texts[] = {
    {0, "success"},
    {SYSERR_PSS_NOKEY, "no such key"},
    {SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID, "unknown VDC number"},
    {SYSERR_PSS_NO_STORE, "no such store or directory"},
    {SYSERR_PSS_NOT_A_STORE, "not a store of this format"},
    {SYSERR_PSS_DAMAGED, "the store is damaged"},
    {SYSERR_PSS_BUSY, "the store is in use by another process or handle"},
    {SYSERR_PSS_READ_ONLY, "no permission, or the store is read-only"},
    {SYSERR_PSS_NO_SPACE, "no space left on the disk"},
    {SYSERR_PSS_BAD_HANDLE, "not the handle of an open store"},
    {SYSERR_PSS_BAD_URL, "not a valid store URL"},
    {SYSERR_PSS_BAD_ARGUMENT, "argument out of range"},
    {SYSERR_PSS_NO_MEMORY, "out of memory"},
    {SYSERR_PSS_IO, "input/output error"},
    {SYSERR_PSS_EXISTS, "the store or key already exists"},
    {SYSERR_PSS_NO_FILES, "too many open files"},
    {SYSERR_PSS_UNTRUSTED, "a sidecar file of the store contains an unfinished change of another program"},
    {SYSERR_PSS_TOO_LARGE, "the store is too large"},
};

}  // namespace

const char* syserr2str(syserr_t status) {
  for (const auto& known : texts) {
    if (known.status == status) return known.text;
  }
  static char unknown[32];
  snprintf(unknown, sizeof unknown, "unknown status 0x%x", status);
  return unknown;
}
