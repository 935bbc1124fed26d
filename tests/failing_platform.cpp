// Preloaded into the tool: a platform that answers chosen calls with a status of no known text, and passes on the rest.
//
//     FAIL_STORE, FAIL_DELETE   which call of pss_store or pss_delete fails, from 1
//     DIE_AT_STORE              the call of pss_store at which the process is killed
//     STALL_AT_STORE            the call of pss_store that waits until the process is ended
//     STALL_MARK                the file that it makes before
//     ONLY_BELOW                the nonvolatile root under which all this holds, so that a dry run goes well

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/pss.h"

namespace {

bool is_due(const char* variable, int call) {
  const char *value = getenv(variable), *below = getenv("ONLY_BELOW"), *root = getenv("PSS_NONVOLATILE_ROOT");
  if (below != nullptr && (root == nullptr || strcmp(below, root) != 0)) return false;
  return value != nullptr && atoi(value) == call;
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

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  static int call = 0;
  ++call;
  if (is_due("DIE_AT_STORE", call)) kill(getpid(), SIGKILL);
  if (is_due("STALL_AT_STORE", call)) stall();
  return is_due("FAIL_STORE", call) ? 0x77 : real<decltype(&pss_store)>("pss_store")(table, mode, key, value);
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  static int call = 0;
  return is_due("FAIL_DELETE", ++call) ? 0x77 : real<decltype(&pss_delete)>("pss_delete")(table, key);
}
