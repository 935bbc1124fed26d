// A platform for tests: records every call, holds its records in memory, and fails on demand.
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
  int nth = 1;          // number of the call of the operation, from 1
  syserr_t status = 0;  // returned status
  bool null = true;     // whether it returns no datum or handle
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

  // The platform of the process.
  static ScriptedPlatform& get();
  static void reset() { get() = ScriptedPlatform(); }

  // Records the call. Returns its failure, or null.
  std::optional<Failure> enter(const std::string& operation, const std::string& arguments);

  // Returns the calls of `operation`, without its name.
  std::vector<std::string> calls_of(const std::string& operation) const;

  std::optional<Bytes> cursor;
  Bytes key_data, value_data;
  pss_datum_t key_datum, value_datum;
};

// Records like those of a device, under their expected keys.
vrrp_config_record_t vr_record(if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type = INET_ADDR_TYPE_IPV4);
vrrp_ip_assoc_record_t ip_record(if_index_t ifindex, uint8 vr_id, uint8 last_address_byte);
Bytes key_of(const vrrp_config_record_t& record);
Bytes key_of(const vrrp_ip_assoc_record_t& record);
extern const Bytes global_info_key, track_key, track_value;

// Returns a store with three VR configuration, three IP association, one global info, one track and one unknown record,
// in the new layout unless `old_layout` is set.
std::map<Bytes, Bytes> sample_store(bool old_layout);

#endif
