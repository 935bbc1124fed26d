// The store's path with the VDC in it, and the VDC of a global synchronisation. First byte: the kind of conversion.

#include "fuzz/same.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 700) return 0;
  const std::string text(std::string(reinterpret_cast<const char*>(data) + 1, size - 1).c_str());
  setenv("SYSMGR_VDC_ID", text.c_str(), 1);
  ScriptedPlatform prepared;
  prepared.version_files = {{"to", "4.2(1)"}, {"from", "4.1(2)"}};
  expect_same(prepared, text, data[0] % 4, true);
  return 0;
}
