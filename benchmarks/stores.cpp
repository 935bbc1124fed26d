#include "benchmarks/stores.h"

#include <arpa/inet.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "libconvertvrrp.h"
#include "platform/embedded/pss_embedded.h"

namespace fs = std::filesystem;

namespace bench {
namespace {

void require(bool is_well, const char* what) {
  if (!is_well) throw std::runtime_error(what);
}

// Each interface has 255 virtual routers, each virtual router one address.
if_index_t interface_of(int router) { return 0x01000000u + static_cast<if_index_t>(router / 255); }
uint8 vr_id_of(int router) { return static_cast<uint8>(1 + router % 255); }

inet_addr_t address_of(int router) {
  inet_addr_t address = {};
  address.addr_type = INET_ADDR_TYPE_IPV4;
  address.a.ipv4_addr.s_addr = htonl(0x0a000001u + static_cast<uint32>(router));
  return address;
}

vrrp_config_record_t vr_record(int router) {
  vrrp_config_record_t record = {};
  record.ifindex = interface_of(router);
  record.vr_id = vr_id_of(router);
  record.addr_type = INET_ADDR_TYPE_IPV4;
  record.admin = STATE_UP;
  record.prio = 100 + static_cast<uint32>(router % 2);
  record.primary_ip = address_of(router);
  record.auth = AUTH_TEXT;
  snprintf(reinterpret_cast<char*>(record.key), sizeof record.key, "key-%d", router);
  record.adv = 100;
  record.preempt = 1;
  record.row_status = 1;
  record.lower_threshold_prio = 80;
  record.upper_threshold_prio = 150;
  record.forwarding_state = 1;
  return record;
}

vrrp_ip_assoc_record_t ip_record(int router) {
  vrrp_ip_assoc_record_t record = {};
  record.ifindex = interface_of(router);
  record.vr_id = vr_id_of(router);
  record.inet_addr = address_of(router);
  record.virtual_ = 1;
  record.row_status = 1;
  return record;
}

// Calls `take` with the key and the value of every record.
void for_each_record(int routers, bool old_layout, const std::function<void(pss_datum_t, pss_datum_t)>& take) {
  for (int router = 0; router < routers; ++router) {
    vrrp_config_record_t record = vr_record(router);
    uint8 key[VRRP_VR_KEY_SIZE];
    vrrp_make_vr_key(key, VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
    take({key, sizeof key}, {&record, old_layout ? 85u : 137u});
  }
  for (int router = 0; router < routers; ++router) {
    vrrp_ip_assoc_record_t record = ip_record(router);
    uint8 key[VRRP_ASSOC_KEY_SIZE];
    vrrp_make_assoc_key(key, record.ifindex, record.vr_id, record.inet_addr);
    take({key, sizeof key}, {&record, old_layout ? 33u : 53u});
  }
}

void make_table(const fs::path& file, int routers, bool old_layout) {
  sqlite3* database;
  sqlite3_stmt* insert;
  require(sqlite3_open(file.c_str(), &database) == SQLITE_OK, "a table cannot be opened");
  sqlite3_exec(database, "CREATE TABLE kv(key BLOB PRIMARY KEY, value BLOB) WITHOUT ROWID; BEGIN", nullptr, nullptr,
               nullptr);
  sqlite3_prepare_v2(database, "INSERT INTO kv VALUES(?1, ?2)", -1, &insert, nullptr);
  for_each_record(routers, old_layout, [&](pss_datum_t key, pss_datum_t value) {
    sqlite3_bind_blob(insert, 1, key.ptr, static_cast<int>(key.siz), SQLITE_STATIC);
    sqlite3_bind_blob(insert, 2, value.ptr, static_cast<int>(value.siz), SQLITE_STATIC);
    sqlite3_step(insert);
    require(sqlite3_reset(insert) == SQLITE_OK, "a record cannot be inserted");
  });
  sqlite3_finalize(insert);
  require(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK, "a table cannot be committed");
  sqlite3_close(database);
}

}  // namespace

Device::Device() {
  std::string name = fs::temp_directory_path() / "convertvrrp-bench-XXXXXX";
  require(mkdtemp(name.data()) != nullptr, "no temporary directory can be made");
  root_ = name;
  for (const char* directory : {"d", "tmp"}) fs::create_directory(root_ / directory);
  std::ofstream(root_ / "old") << "4.1(2)";
  std::ofstream(root_ / "new") << "4.2(1)";
  setenv("PSS_NONVOLATILE_ROOT", root_.c_str(), 1);
  setenv("SYSMGR_VDC_ID", "1", 1);
}

Device::~Device() { fs::remove_all(root_); }

void Device::make(int routers, bool old_layout, const fs::path& original) {
  const std::string url = "nonvolatile:/" + original.filename().string();
  require(pss_embedded_create(url.c_str()) == 0, "a store cannot be created");
  syserr_t status;
  const pss_service_t table = pss_open(url.c_str(), &status);
  for_each_record(routers, old_layout, [&](pss_datum_t key, pss_datum_t value) {
    require(pss_store(table, PSS_NEW_ONLY, &key, &value) == 0, "a record cannot be stored");
  });
  require(pss_close(table) == 0, "a store cannot be closed");
  make_table(original.string() + "-table", routers, old_layout);
}

void Device::prepare(int routers, bool is_upgrade) {
  const fs::path original = root_ / ("original-" + std::to_string(routers) + (is_upgrade ? "-old" : "-new"));
  if (!fs::exists(original)) make(routers, is_upgrade, original);
  fs::copy_file(original, store(), fs::copy_options::overwrite_existing);
  fs::copy_file(original.string() + "-table", table(), fs::copy_options::overwrite_existing);
  fs::remove(snapshot());
  use(is_upgrade);
  sync();  // do not measure the write-back of the copies
}

void Device::require_converted(int routers, bool is_upgrade) const {
  sqlite3* database;
  sqlite3_stmt* count;
  require(sqlite3_open(store().c_str(), &database) == SQLITE_OK, "a converted store cannot be opened");
  sqlite3_prepare_v2(database, "SELECT count(*), coalesce(sum(length(value) IN (85, 33)), 0) FROM record", -1, &count,
                     nullptr);
  require(sqlite3_step(count) == SQLITE_ROW, "a converted store cannot be read");
  const int all = sqlite3_column_int(count, 0), old_ones = sqlite3_column_int(count, 1);
  sqlite3_finalize(count);
  sqlite3_close(database);
  require(is_upgrade ? all == 0 && fs::exists(snapshot()) : all == 2 * routers + 1 && old_ones == 2 * routers,
          "a store was not converted");
}

void Device::use(bool is_upgrade) {
  setenv("SYSMGR_FROM_SRG_PATH", (root_ / (is_upgrade ? "old" : "new")).c_str(), 1);
  setenv("SYSMGR_TO_SRG_PATH", (root_ / (is_upgrade ? "new" : "old")).c_str(), 1);
}

double seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace bench
