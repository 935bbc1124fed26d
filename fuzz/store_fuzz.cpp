// The content of a store, converted up or down. First byte: direction and trace; then records, each as the length of
// its key, the length of its value, key and value.

#include "fuzz/same.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Bytes input(reinterpret_cast<const char*>(data), size);
  const bool is_upgrade = input[0] & 1;
  ScriptedPlatform prepared;
  prepared.version_files = {{"to", is_upgrade ? "4.2(1)" : "4.1(2)"}, {"from", is_upgrade ? "4.1(2)" : "4.2(1)"}};
  for (size_t at = 1; at + 2 <= size;) {
    const uint8 key_size = data[at], value_size = data[at + 1];
    const Bytes key = input.substr(at + 2, key_size);
    // A stored key has at least a byte.
    if (!key.empty())
      prepared.records[key] = at + 2 + key_size < size ? input.substr(at + 2 + key_size, value_size) : "";
    at += 2u + key_size + value_size;
  }
  expect_same(prepared, "/d", VRRP_CONVERT_GSYNC, (input[0] & 2) != 0);
  return 0;
}
