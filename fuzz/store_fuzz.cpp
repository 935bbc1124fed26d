// A store that is upgraded or downgraded, with the trace log open and closed. Input: the direction (1 byte); then per
// record the size of the key, the size of the value, the key and the value.

#include <gmock/gmock.h>
#include <stdlib.h>

#include "platform/syserr.h"
#include "tests/scripted_platform.h"
#include "tests/trace_log.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  GTEST_FLAG_SET(throw_on_failure, true);  // the fuzzer treats this as a crash and saves the input
  setenv("SYSMGR_TO_SRG_PATH", "to", 1);
  setenv("SYSMGR_FROM_SRG_PATH", "from", 1);
  return 0;
}

namespace {

// Returns the platform after a conversion of `prepared`.
ScriptedPlatform convert(const ScriptedPlatform& prepared, int log_fd) {
  trace_fd = log_fd;
  ScriptedPlatform::get() = prepared;
  std::vector<std::string>().swap(TraceLog::events);  // free the memory: the fuzzer would report a leak
  EXPECT_EQ(vrrp_mgr_handle_generic_convert("/d", "", "t", "f", VRRP_CONVERT_GSYNC), 0u);
  EXPECT_EQ(ScriptedPlatform::get().stores_open, 0);
  std::erase(ScriptedPlatform::get().calls, "syserr2str");
  return ScriptedPlatform::get();
}

// Returns the expected key of a value, with the scripted platform's hton_if_index.
Bytes key_of_value(char type, const Bytes& v) {
  Bytes key = {type, v[8], v[7], v[6], v[5], v[4], static_cast<char>(v[3] ^ 0x80), v[2], v[1], v[0]};
  return type == VRRP_PSS_KEY_VR ? key : key + v.substr(9, 16);
}

std::map<Bytes, Bytes> converted(const std::map<Bytes, Bytes>& before, bool is_upgrade) {
  auto after = before;
  is_upgrade ? (void)after.erase(global_info_key) : (void)(after[global_info_key] = '\1' + Bytes(20, '\0'));
  for (const auto& [key, stored] : before) {
    if (key[0] != VRRP_PSS_KEY_VR && key[0] != VRRP_PSS_KEY_IP_ASSOC) continue;
    Bytes value = stored;
    value.resize(key[0] == VRRP_PSS_KEY_VR ? 85 : 33);
    const Bytes its_key = key_of_value(key[0], value);
    is_upgrade ? (void)after.erase(its_key) : (void)(after[its_key] = value);
  }
  return after;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Bytes input(reinterpret_cast<const char*>(data), size);
  const bool is_upgrade = input[0] & 1;
  ScriptedPlatform platform;
  platform.version_files = {{"to", is_upgrade ? "4.2(1)" : "4.1(2)"}, {"from", is_upgrade ? "4.1(2)" : "4.2(1)"}};
  for (size_t at = 1; at + 2 <= size;) {
    const uint8 key_size = data[at], value_size = data[at + 1];
    const Bytes key = input.substr(at + 2, key_size);
    // A stored key has at least one byte.
    if (!key.empty())
      platform.records[key] = at + 2 + key_size < size ? input.substr(at + 2 + key_size, value_size) : "";
    at += 2u + key_size + value_size;
  }
  static TraceLog log;
  TraceLog::broken = true;  // skip the write and the sync of each line
  static const int log_fd = (log.create(), convert_running("", "", ""), trace_fd);
  const ScriptedPlatform silent = convert(platform, -1), traced = convert(platform, log_fd);
  EXPECT_EQ(traced.calls, silent.calls);
  EXPECT_EQ(traced.records, converted(platform.records, is_upgrade));
  EXPECT_EQ(silent.records, traced.records);
  EXPECT_EQ(traced.snapshot, is_upgrade ? platform.records : decltype(platform.records)());
  ScriptedPlatform::reset();
  return 0;
}
