// A platform that tests define themselves: it records every call, keeps its records in memory, and fails on demand.
#ifndef TESTS_SCRIPTED_PLATFORM_H
#define TESTS_SCRIPTED_PLATFORM_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "libconvertvrrp.h"
#include "tests/bytes.h"

struct Failure {
  std::string operation;
  int nth = 1;          // which call of the operation, from 1
  syserr_t status = 0;  // what it reports
  bool null = true;     // whether it gives no datum or handle
  bool persistent = false;
};

struct ScriptedPlatform {
  std::map<Bytes, Bytes> records;
  std::map<std::string, std::string> version_files;
  std::vector<Failure> failures;
  std::function<void(const std::string& operation, int nth)> before_call = [](const std::string&, int) {};

  std::vector<std::string> calls;  // operation and arguments, keys and values in hexadecimal
  std::map<std::string, int> counts;
  int failures_fired = 0;
  int stores_open = 0;
  std::map<Bytes, Bytes> snapshot;

  // The one platform of the process.
  static ScriptedPlatform& get();
  static void reset() { get() = ScriptedPlatform(); }

  // Notes the call; returns the failure that it must show, if any.
  std::optional<Failure> enter(const std::string& operation, const std::string& arguments);

  // The calls of `operation`, without its name.
  std::vector<std::string> calls_of(const std::string& operation) const;

  std::optional<Bytes> cursor;
  Bytes key_data, value_data;
  pss_datum_t key_datum, value_datum;
};

// Records as a device would hold them, under the keys that belong to them.
vrrp_config_record_t vr_record(if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type = INET_ADDR_TYPE_IPV4);
vrrp_ip_assoc_record_t ip_record(if_index_t ifindex, uint8 vr_id, uint8 last_address_byte);
Bytes key_of(const vrrp_config_record_t& record);
Bytes key_of(const vrrp_ip_assoc_record_t& record);
extern const Bytes global_info_key, track_key, track_value;

// A store with three VR configuration, three IP association, one global info, one track and one unknown record. Values
// have the new layouts' sizes unless `old_layout`.
std::map<Bytes, Bytes> sample_store(bool old_layout);

#endif
