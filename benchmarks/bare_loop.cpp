#include "benchmarks/bare_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "libconvertvrrp.h"
#include "platform/embedded/database.h"
#include "platform/embedded/digest.h"
#include "platform/embedded/row.h"
#include "platform/syserr.h"

namespace fs = std::filesystem;

namespace bench {
namespace {

using pss_embedded::Database;
using pss_embedded::Digest;
using pss_embedded::Row;
using pss_embedded::Statement;

void require(syserr_t status) {
  if (status != 0) throw std::runtime_error("a bare loop failed");
}

// A database in memory with the bytes of the file.
Database open(const fs::path& file) {
  const int fd = ::open(file.c_str(), O_RDONLY);
  pss_embedded::Image image;
  require(pss_embedded::read_image(fd, &image));
  close(fd);
  Database database;
  require(pss_embedded::open_image(&image, &database));
  return database;
}

Statement prepare(const Database& database, const char* sql) {
  Statement statement;
  require(pss_embedded::prepare(database.get(), sql, &statement));
  return statement;
}

// Adds the seconds since the previous call to a phase.
class Laps {
 public:
  void end(double& phase) {
    const auto now = std::chrono::steady_clock::now();
    phase += std::chrono::duration<double>(now - start_).count();
    start_ = now;
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void begin(const Database& database) {
  require(pss_embedded::run(database.get(), "BEGIN"));
  Digest digest;
  require(pss_embedded::check_store(database.get(), &digest));
}

void sync_path(const fs::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY);
  require(fsync(fd) == 0 ? 0 : 1);
  close(fd);
}

// Writes a new file, syncs and renames it, and syncs the directory, like the platform.
void write_image(const Database& database, const fs::path& target) {
  const fs::path made = target.string() + ".made";
  const void* bytes;
  sqlite3_int64 size;
  require(pss_embedded::image_of(database.get(), &bytes, &size));
  const int fd = ::open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  require(pss_embedded::write_bytes(fd, bytes, size));
  require(fsync(fd) == 0 ? 0 : 1);
  close(fd);
  fs::rename(made, target);
  sync_path(target.parent_path());
}

void commit(const Database& database, const fs::path& file, bool compacts, Laps& laps, Phases& phases) {
  Digest digest;
  require(pss_embedded::update_digest(database.get(), &digest));
  laps.end(phases.digest);
  require(pss_embedded::run(database.get(), "COMMIT"));
  if (compacts) require(pss_embedded::run(database.get(), "VACUUM"));
  write_image(database, file);
  laps.end(phases.commit);
}

// Verifies each row from the first key of `type` and calls `visit` with it, until `visit` returns false.
template <typename Visit>
void walk(const Statement& select, uint8 type, Visit visit) {
  sqlite3_bind_blob(select.get(), 1, &type, 1, SQLITE_STATIC);
  Row row;
  while (sqlite3_step(select.get()) == SQLITE_ROW) {
    require(pss_embedded::read_row(select.get(), &row));
    if (!visit(row)) break;
  }
  sqlite3_reset(select.get());
}

// Does both passes of a bulk reader.
template <typename Record>
std::vector<Record> read(const Statement& select, uint8 type) {
  size_t count = 0;
  const auto is_wanted = [type](const Row& row) { return *static_cast<const uint8*>(row.key) == type; };
  walk(select, type, [&](const Row& row) { return is_wanted(row) && ++count > 0; });
  std::vector<Record> records(count);
  size_t taken = 0;
  walk(select, type, [&](const Row& row) {
    if (is_wanted(row)) memcpy(&records[taken++], row.value, std::min<size_t>(row.value_size, sizeof(Record)));
    return true;
  });
  return records;
}

// Reads all records of a kind, then calls `change` with each record.
template <typename Record, typename Change>
void for_each_read(const Statement& select, uint8 type, Laps& laps, Phases& phases, Change change) {
  const std::vector<Record> records = read<Record>(select, type);
  laps.end(phases.read);
  for (const Record& record : records) change(record);
  laps.end(phases.write);
}

void store(const Statement& replace, const void* key, uint32 key_size, const void* value, uint32 value_size) {
  sqlite3_bind_blob(replace.get(), 1, key, static_cast<int>(key_size), SQLITE_STATIC);
  sqlite3_bind_blob(replace.get(), 2, value, static_cast<int>(value_size), SQLITE_STATIC);
  sqlite3_bind_int64(replace.get(), 3,
                     static_cast<sqlite3_int64>(pss_embedded::row_checksum(key, key_size, value, value_size)));
  sqlite3_step(replace.get());
  require(sqlite3_reset(replace.get()) == SQLITE_OK ? 0 : 1);
}

void remove(const Statement& statement, const void* key, uint32 key_size) {
  sqlite3_bind_blob(statement.get(), 1, key, static_cast<int>(key_size), SQLITE_STATIC);
  sqlite3_step(statement.get());
  require(sqlite3_reset(statement.get()) == SQLITE_OK ? 0 : 1);
}

uint32 global_info_key = VRRP_PSS_GLOBAL_INFO_KEY;
constexpr char from_key[] = "SELECT key, value, checksum FROM record WHERE key >= ?1 ORDER BY key";

}  // namespace

Phases bare_downgrade(const fs::path& file) {
  Laps laps;
  Phases phases;
  const Database database = open(file);
  begin(database);
  laps.end(phases.check);
  const Statement select = prepare(database, from_key);
  const Statement replace = prepare(database, "REPLACE INTO record VALUES(?1, ?2, ?3)");
  const vrrp_pss_global_info_t info = {};
  store(replace, &global_info_key, sizeof global_info_key, &info, sizeof info);
  for_each_read<vrrp_config_record_t>(select, VRRP_PSS_KEY_VR, laps, phases, [&](const auto& record) {
    uint8 key[VRRP_VR_KEY_SIZE];
    vrrp_make_vr_key(key, VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
    store(replace, key, sizeof key, &record, sizeof(vrrp_old_config_record_t));
  });
  for_each_read<vrrp_ip_assoc_record_t>(select, VRRP_PSS_KEY_IP_ASSOC, laps, phases, [&](const auto& record) {
    uint8 key[VRRP_ASSOC_KEY_SIZE];
    vrrp_make_assoc_key(key, record.ifindex, record.vr_id, record.inet_addr);
    store(replace, key, sizeof key, &record, sizeof(vrrp_old_ip_assoc_record_t));
  });
  commit(database, file, false, laps, phases);
  return phases;
}

Phases bare_upgrade(const fs::path& file, const fs::path& snapshot) {
  Laps laps;
  Phases phases;
  const Database database = open(file);
  begin(database);
  laps.end(phases.check);
  write_image(database, snapshot);
  laps.end(phases.snapshot);
  Statement select = prepare(database, from_key);
  Statement erase = prepare(database, "DELETE FROM record WHERE key = ?1");
  remove(erase, &global_info_key, sizeof global_info_key);
  for_each_read<vrrp_old_config_record_t>(select, VRRP_PSS_KEY_VR, laps, phases, [&](const auto& record) {
    uint8 key[VRRP_VR_KEY_SIZE];
    vrrp_make_vr_key(key, VRRP_PSS_KEY_VR, record.ifindex, record.vr_id, record.addr_type);
    remove(erase, key, sizeof key);
  });
  for_each_read<vrrp_ip_assoc_record_t>(select, VRRP_PSS_KEY_IP_ASSOC, laps, phases, [&](const auto& record) {
    uint8 key[VRRP_ASSOC_KEY_SIZE];
    vrrp_make_assoc_key(key, record.ifindex, record.vr_id, record.inet_addr);
    remove(erase, key, sizeof key);
  });
  select.reset(), erase.reset();  // VACUUM fails while statements exist
  commit(database, file, true, laps, phases);
  return phases;
}

void change_by_statement(const fs::path& table, bool is_upgrade) {
  sqlite3* opened;
  require(sqlite3_open(table.c_str(), &opened) == SQLITE_OK ? 0 : 1);
  const Database database(opened);
  // Sync the directory after the removal of the journal: otherwise a power failure could bring the old state back.
  require(pss_embedded::run(opened, "PRAGMA synchronous=EXTRA; PRAGMA cache_size=-8192"));
  const fs::path copy = table.string() + ".copy";
  fs::remove(copy);
  if (is_upgrade) require(pss_embedded::run(database.get(), ("VACUUM INTO '" + copy.string() + "'").c_str()));
  require(pss_embedded::run(database.get(), is_upgrade
                                                ? "DELETE FROM kv WHERE key >= x'01' AND key < x'03'"
                                                : "UPDATE kv SET value = substr(value, 1, CASE length(value) WHEN 137 "
                                                  "THEN 85 ELSE 33 END) WHERE length(value) IN (137, 53)"));
}

}  // namespace bench
