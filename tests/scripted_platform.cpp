#include "tests/scripted_platform.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>

#include "platform/if_index.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"
#include "tests/trace_log.h"

ScriptedPlatform& ScriptedPlatform::get() {
  static ScriptedPlatform platform;
  return platform;
}

std::optional<Failure> ScriptedPlatform::enter(const std::string& operation, const std::string& arguments) {
  const int nth = ++counts[operation];
  calls.push_back(operation + (arguments.empty() ? "" : " " + arguments));
  TraceLog::events.push_back(calls.back());
  before_call(operation, nth);
  for (const Failure& failure : failures) {
    if (failure.operation != operation) continue;
    if (nth == failure.nth || (failure.persistent && nth > failure.nth)) {
      ++failures_fired;
      return failure;
    }
  }
  return std::nullopt;
}

std::vector<std::string> ScriptedPlatform::calls_of(const std::string& operation) const {
  std::vector<std::string> arguments;
  for (const std::string& call : calls) {
    if (call.rfind(operation + " ", 0) == 0) arguments.push_back(call.substr(operation.size() + 1));
  }
  return arguments;
}

namespace {

ScriptedPlatform& platform() { return ScriptedPlatform::get(); }

std::string handle(pss_service_t table) { return std::to_string(table) + " "; }

pss_datum_t* place_cursor(std::map<Bytes, Bytes>::iterator at) {
  ScriptedPlatform& p = platform();
  p.cursor.reset();
  if (at == p.records.end()) return nullptr;
  p.cursor = at->first;
  p.key_data = at->first;
  p.key_datum = datum(p.key_data);
  return &p.key_datum;
}

}  // namespace

pss_service_t pss_open(const char* url, syserr_t* status) {
  const auto failure = platform().enter("pss_open", url);
  *status = failure ? failure->status : 0;
  if (*status == 0 && !failure) ++platform().stores_open;
  return failure && failure->null ? 0 : 7;
}

syserr_t pss_close(pss_service_t table) {
  const auto failure = platform().enter("pss_close", std::to_string(table));
  --platform().stores_open;
  return failure ? failure->status : 0;
}

pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status) {
  const auto failure = platform().enter("pss_move2key", handle(table) + to_hex(bytes_of(*key)));
  const auto at = platform().records.lower_bound(bytes_of(*key));
  const bool stored = at != platform().records.end() && at->first == bytes_of(*key);
  *status = failure ? failure->status : stored ? 0 : SYSERR_PSS_NOKEY;
  pss_datum_t* found = place_cursor(at);
  return failure && failure->null ? nullptr : found;
}

pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status) {
  ScriptedPlatform& p = platform();
  const auto failure = p.enter("pss_move2location", handle(table) + std::to_string(location));
  auto at = p.records.begin();
  if (location != PSS_FIRST_KEY)
    at = location == PSS_NEXT_KEY && p.cursor ? p.records.upper_bound(*p.cursor) : p.records.end();
  pss_datum_t* found = place_cursor(at);
  *status = failure ? failure->status : found != nullptr ? 0 : SYSERR_PSS_NOKEY;
  return failure && failure->null ? nullptr : found;
}

const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status) {
  ScriptedPlatform& p = platform();
  const auto failure = p.enter("pss_getvalue", std::to_string(table));
  *status = failure ? failure->status : 0;
  if (failure && failure->null) return nullptr;
  p.value_data = p.records.at(*p.cursor);
  p.value_datum = datum(p.value_data);
  return &p.value_datum;
}

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  const auto failure = platform().enter("pss_store", handle(table) + std::to_string(mode) + " " +
                                                         to_hex(bytes_of(*key)) + " " + to_hex(bytes_of(*value)));
  if (failure) return failure->status;
  platform().records[bytes_of(*key)] = bytes_of(*value);
  return 0;
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  const auto failure = platform().enter("pss_delete", handle(table) + to_hex(bytes_of(*key)));
  if (failure) return failure->status;
  return platform().records.erase(bytes_of(*key)) == 1 ? 0 : SYSERR_PSS_NOKEY;
}

syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  // The library owns the whole buffer; it is zero after the text.
  for (const char* byte = url + strlen(url); byte < url + 256; ++byte) EXPECT_EQ(*byte, '\0');
  const auto failure = platform().enter("pss_snapshot", handle(table) + std::to_string(flags) + " " + url);
  if (failure) return failure->status;
  platform().snapshot = platform().records;
  return 0;
}

const char* syserr2str(syserr_t status) {
  platform().enter("syserr2str", "");
  static char text[32];
  snprintf(text, sizeof text, "text of 0x%x", status);
  return text;
}

// Neither host nor network byte order, so that a key builder that swaps bytes itself fails the test.
uint32 hton_if_index(if_index_t ifindex) { return htonl(ifindex ^ 0x80000000); }

const char* srg_sw_ver_file_get(const char* path) {
  if (platform().enter("srg_sw_ver_file_get", path != nullptr ? path : "null")) return nullptr;
  const auto file = platform().version_files.find(path != nullptr ? path : "");
  return file != platform().version_files.end() ? file->second.c_str() : nullptr;
}

vrrp_config_record_t vr_record(if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type) {
  vrrp_config_record_t record;
  for (size_t i = 0; i < sizeof record; ++i) reinterpret_cast<uint8*>(&record)[i] = static_cast<uint8>(vr_id + i);
  record.ifindex = ifindex;
  record.vr_id = vr_id;
  record.addr_type = addr_type;
  return record;
}

vrrp_ip_assoc_record_t ip_record(if_index_t ifindex, uint8 vr_id, uint8 last_address_byte) {
  vrrp_ip_assoc_record_t record;
  for (size_t i = 0; i < sizeof record; ++i) reinterpret_cast<uint8*>(&record)[i] = static_cast<uint8>(0xF0 - i);
  record.ifindex = ifindex;
  record.vr_id = vr_id;
  record.inet_addr.addr_type = INET_ADDR_TYPE_IPV6;
  record.inet_addr.a.ipv6_addr.s6_addr[15] = last_address_byte;
  return record;
}

Bytes key_of(const vrrp_config_record_t& record) {
  Bytes key(VRRP_VR_KEY_SIZE, '\0');
  vrrp_make_vr_key(reinterpret_cast<uint8*>(key.data()), VRRP_PSS_KEY_VR, record.ifindex, record.vr_id,
                   record.addr_type);
  return key;
}

Bytes key_of(const vrrp_ip_assoc_record_t& record) {
  Bytes key(VRRP_ASSOC_KEY_SIZE, '\0');
  vrrp_make_assoc_key(reinterpret_cast<uint8*>(key.data()), record.ifindex, record.vr_id, record.inet_addr);
  return key;
}

const Bytes global_info_key = hex("04000000"), track_key = hex("05 00000001 07 80000010 00000001"),
            track_value = "a track record";

std::map<Bytes, Bytes> sample_store(bool old_layout) {
  std::map<Bytes, Bytes> records = {
      {global_info_key, Bytes(21, 'g')}, {track_key, track_value}, {hex("07ff"), "a record of an unknown kind"}};
  for (const auto& record : {vr_record(0x10, 7), vr_record(0x11, 8), vr_record(0x10, 7, INET_ADDR_TYPE_IPV6)}) {
    records[key_of(record)] = bytes_of_record(record).substr(0, old_layout ? 85 : 137);
  }
  for (const auto& record : {ip_record(0x10, 7, 1), ip_record(0x10, 7, 2), ip_record(0x11, 8, 1)}) {
    records[key_of(record)] = bytes_of_record(record).substr(0, old_layout ? 33 : 53);
  }
  return records;
}
