// Preloaded into the tool: fails selected platform calls with an unknown status, and forwards the others.
//     FAIL_STORE, FAIL_DELETE   the number of the call of pss_store or pss_delete that fails, from 1
//     LOSE_STORE                the call of pss_store that stores nothing and returns 0
//     FAIL_MOVE                 the call of pss_move2key that fails (in a bulk reader)
//     DIE_AT_STORE              the call of pss_store at which the process is killed
//     CHANGE_AT_OPEN            the call of pss_open before which another process adds a record to the store
//     FAIL_CLOSE                the call of pss_close that rolls back and fails
//     FAIL_AFTER_CLOSE          the call of pss_close that commits and fails
//     FAIL_SNAPSHOT             the call of pss_snapshot that fails
//     REPLACE_AFTER_CLOSE       the call of pss_close after which another process renames the file "before" to the
//     store
//     NO_SPACE                  the call of statvfs that reports free space for 68 KiB, two stores
//     NO_NOREPLACE              the file system has neither RENAME_NOREPLACE nor RENAME_EXCHANGE
//     STALL_AT_STORE            the call of pss_store that waits until the process is killed
//     STALL_MARK                the file that it creates before
//     ONLY_BELOW                the nonvolatile root for which calls fail, so that dry runs succeed

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "platform/embedded/pss_embedded.h"
#include "platform/pss.h"

namespace {

// Counts a call, unless ONLY_BELOW excludes it.
bool is_due(const char* variable, int& call) {
  const char *value = getenv(variable), *below = getenv("ONLY_BELOW"), *root = getenv("PSS_NONVOLATILE_ROOT");
  if (below != nullptr && (root == nullptr || strcmp(below, root) != 0)) return false;
  return value != nullptr && atoi(value) == ++call;
}

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void stall() {
  const char* mark = getenv("STALL_MARK");
  if (mark != nullptr) close(open(mark, O_CREAT | O_WRONLY, 0600));
  for (;;) pause();
}

}  // namespace

pss_service_t pss_open(const char* url, syserr_t* status) {
  static int call = 0;
  const auto open = real<decltype(&pss_open)>("pss_open");
  if (is_due("CHANGE_AT_OPEN", call)) {
    char key[] = "\x05", value[] = "added";
    const pss_datum_t key_datum = {key, 1}, value_datum = {value, 5};
    const pss_service_t table = open(url, status);
    real<decltype(&pss_store)>("pss_store")(table, PSS_REPLACE, &key_datum, &value_datum);
    real<decltype(&pss_close)>("pss_close")(table);
  }
  return open(url, status);
}

syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  static int call = 0;
  return is_due("FAIL_SNAPSHOT", call) ? 0x77 : real<decltype(&pss_snapshot)>("pss_snapshot")(table, flags, url);
}

syserr_t pss_close(pss_service_t table) {
  static int call = 0, replaced = 0, failed = 0;
  if (is_due("FAIL_AFTER_CLOSE", failed)) {
    real<decltype(&pss_close)>("pss_close")(table);
    return 0x77;
  }
  if (is_due("REPLACE_AFTER_CLOSE", replaced)) {
    const syserr_t status = real<decltype(&pss_close)>("pss_close")(table);
    return rename("before", "flash/vrrp-cfg_runtime_config") == 0 ? status : 0x77;
  }
  if (!is_due("FAIL_CLOSE", call)) return real<decltype(&pss_close)>("pss_close")(table);
  real<decltype(&pss_embedded_discard)>("pss_embedded_discard")(table);
  return 0x77;
}

extern "C" int statvfs64(const char* path, struct statvfs64* system) {
  static int space = 0, inodes = 0;
  const int result = real<decltype(&statvfs64)>("statvfs64")(path, system);
  if (is_due("NO_SPACE", space)) system->f_frsize = 4096, system->f_bfree = system->f_bavail = 17;
  if (is_due("NO_INODES", inodes)) system->f_files = 10, system->f_ffree = system->f_favail = 2;
  return result;
}

extern "C" int statx(int directory, const char* path, int flags, unsigned mask, struct ::statx* found) {
  const auto real_call = real<int (*)(int, const char*, int, unsigned, void*)>("statx");
  const int result = real_call(directory, path, flags, mask, found);
  const char* attribute = getenv("PROTECT_FLASH");
  if (attribute == nullptr || !std::string_view(path).ends_with("/flash")) return result;
  found->stx_attributes |= *attribute == 'i' ? STATX_ATTR_IMMUTABLE : STATX_ATTR_APPEND;
  return result;
}

extern "C" int renameat2(int from_fd, const char* from, int to_fd, const char* to, unsigned flags) {
  if (getenv("NO_NOREPLACE") != nullptr && flags != 0) return errno = EINVAL, -1;
  return real<decltype(&renameat2)>("renameat2")(from_fd, from, to_fd, to, flags);
}

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  static int dies = 0, stalls = 0, fails = 0, loses = 0;
  if (is_due("DIE_AT_STORE", dies)) kill(getpid(), SIGKILL);
  if (is_due("STALL_AT_STORE", stalls)) stall();
  if (is_due("LOSE_STORE", loses)) return 0;
  return is_due("FAIL_STORE", fails) ? 0x77 : real<decltype(&pss_store)>("pss_store")(table, mode, key, value);
}

pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status) {
  static int call = 0;
  pss_datum_t* found = real<decltype(&pss_move2key)>("pss_move2key")(table, key, status);
  if (is_due("FAIL_MOVE", call)) *status = 0x77;
  return found;
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  static int call = 0;
  return is_due("FAIL_DELETE", call) ? 0x77 : real<decltype(&pss_delete)>("pss_delete")(table, key);
}
