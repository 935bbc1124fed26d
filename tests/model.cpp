#include "tests/model.h"

#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "platform/if_index.h"
#include "platform/srg_sw_ver.h"
#include "platform/syserr.h"
#include "tests/scripted_platform.h"
#include "tests/trace_log.h"

namespace model {
namespace {

constexpr char removal[] = "vrrp_delete_rc_pss_recs_for_upgrade";
constexpr char copy[] = "vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade";
constexpr char upgrade[] = "vrrp_mgr_handle_upgrade_to_4_2_1";
constexpr char driver[] = "vrrp_mgr_handle_generic_convert";

__attribute__((format(printf, 2, 3))) void say(const char* operation, const char* format, ...) {
  char text[2000];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  // A message that holds a line break is not one line, and is left out of the events.
  if (trace_fd != -1 && strchr(text, '\n') == nullptr) TraceLog::events.push_back(std::string(operation) + " " + text);
}

const char* text_of(syserr_t status) { return trace_fd != -1 ? syserr2str(status) : ""; }

bool placed(syserr_t status) { return status == 0 || status == SYSERR_PSS_NOKEY; }

bool begins(const pss_datum_t* key, const Bytes& bytes) { return bytes_of(*key).compare(0, bytes.size(), bytes) == 0; }

uint32 number_at(const Bytes& value, size_t offset) {
  uint32 number;
  memcpy(&number, value.data() + offset, sizeof number);
  return number;
}

// Both readers: what differs is where a pass starts, which keys match, and whether the count ends with its kind.
Read read(pss_service_t table, size_t size, bool is_engine, const std::function<const pss_datum_t*(syserr_t*)>& start,
          const std::function<bool(const pss_datum_t*)>& matches) {
  syserr_t status = 0;
  const pss_datum_t* key = start(&status);
  if (key == nullptr && is_engine) return {0, 0, {}};
  if (!placed(status)) return {static_cast<int32>(status), 0, {}};
  int32 count = 0;
  while (key != nullptr) {
    if (!placed(status)) return {static_cast<int32>(status), 0, {}};
    const bool is_wanted = matches(key);
    if (!is_wanted && !is_engine) break;
    count += is_wanted ? 1 : 0;
    key = pss_move2location(table, PSS_NEXT_KEY, &status);
  }
  if (count == 0) return {0, 0, {}};
  if (ScriptedPlatform::get().enter("calloc", std::to_string(count) + " " + std::to_string(size)))
    return {3, count, {}};

  std::vector<Bytes> elements;
  for (key = start(&status); key != nullptr; key = pss_move2location(table, PSS_NEXT_KEY, &status)) {
    if (!placed(status)) return {static_cast<int32>(status), count, {}};
    if (!matches(key)) continue;
    const pss_datum_t* value = pss_getvalue(table, &status);
    if (status != 0) return {static_cast<int32>(status), count, {}};
    if (value == nullptr) return {VRRP_CNV_ERR_NO_VALUE, count, {}};
    elements.push_back(bytes_of(*value));
    elements.back().resize(size);
  }
  elements.resize(static_cast<size_t>(count), Bytes(size, '\0'));
  return {0, count, elements};
}

Bytes vr_part(char key_type, const Bytes& value) {
  const uint32 ifindex = hton_if_index(number_at(value, 0));
  return Bytes{key_type, value[8], value[7], value[6], value[5], value[4]} + bytes_of_record(ifindex);
}
Bytes vr_key(const Bytes& value) { return vr_part(1, value); }
Bytes ip_key(const Bytes& value) { return vr_part(2, value) + value.substr(9, 16); }

syserr_t delete_record(pss_service_t table, const Bytes& key) {
  const pss_datum_t k = datum(key);
  return pss_delete(table, &k);
}

syserr_t store_record(pss_service_t table, const Bytes& key, const Bytes& value) {
  const pss_datum_t k = datum(key), v = datum(value);
  return pss_store(table, PSS_REPLACE, &k, &v);
}

void delete_array(pss_service_t table, const Read& read, bool is_vr) {
  say(removal, "Number of %s records = %d", is_vr ? "VR" : "VIP", read.count);
  for (const Bytes& value : read.elements) {
    const int id = static_cast<uint8>(value[4]);
    const uint32 ifindex = number_at(value, 0);
    if (is_vr) {
      say(removal, "Retrieved PSS record for VR %d on interface 0x%x and addr type %d", id, ifindex,
          static_cast<int>(number_at(value, 5)));
      say(removal, "Deleting PSS VR record : VR %d , intf 0x%x", id, ifindex);
    }
    const syserr_t status = delete_record(table, is_vr ? vr_key(value) : ip_key(value));
    status != 0 ? say(removal, "Error deleting PSS VR record; Ret_val = 0x%x, %s", status, text_of(status))
                : say(removal, "Deleted PSS %s record : VR %d, interface 0x%x", is_vr ? "VR" : "VIP", id, ifindex);
  }
}

void store_array(pss_service_t table, const Read& read, bool is_vr) {
  say(copy, "Number of %s records = %d", is_vr ? "VR" : "VIP", read.count);
  for (const Bytes& value : read.elements) {
    const int id = static_cast<uint8>(value[4]);
    const uint32 ifindex = number_at(value, 0);
    const syserr_t status =
        store_record(table, is_vr ? vr_key(value) : ip_key(value), value.substr(0, is_vr ? 85 : 33));
    if (status != 0)
      say(copy, "Error storing record in PSS: Ret_val = %d, %s", static_cast<int>(status), text_of(status));
    else if (is_vr)
      say(copy, "Added new record for VR %d on interface 0x%x and addr type %d", id, ifindex,
          static_cast<int>(number_at(value, 5)));
    else
      say(copy, "Added new IP record for VR %d on interface 0x%x", id, ifindex);
  }
}

void handle_upgrade(pss_service_t table, const std::string& vdc) {
  say(upgrade, "Entered Upgrade path");
  char url[256] = {};
  ("nonvolatile:/tmp/vrrp-pss" + (vdc == "1" ? "" : vdc)).copy(url, 255);
  const syserr_t snapshot = pss_snapshot(table, 0, url);
  snapshot != 0 ? say(upgrade, "Error in taking snapshot of Mgr's PSS: %s", text_of(snapshot))
                : say(upgrade, "Taken snapshot of Mgr PSS to temp file %s", url);
  const syserr_t removed = remove_records(table);
  removed != 0 ? say(upgrade, "Error deleting PSS recs in upgrade : 0x%x", removed)
               : say(upgrade, "Deleted RC recs in Mgr for upgrade");
}

// The three numbers at the start of "MAJOR.MINOR(PATCH", as far as they are there.
std::vector<long long> numbers_of(const std::string& text) {
  std::vector<long long> numbers;
  const char* at = text.c_str();
  for (const char* behind = ".(\0"; numbers.size() < 3; ++behind) {
    char* end;
    const long long number = strtoll(at, &end, 10);
    if (end == at) break;
    numbers.push_back(std::min<long long>(std::max<long long>(number, INT_MIN), INT_MAX));
    if (*end != *behind) break;
    at = end + 1;
  }
  return numbers;
}

std::vector<long long> release_of(const std::optional<std::string>& text) {
  std::vector<long long> release = numbers_of(text.value_or(""));
  if (release.size() < 2) release.clear();
  release.resize(3, INT_MAX);
  return release;
}

std::optional<std::string> version_file(const char* path) {
  const char* text = srg_sw_ver_file_get(path);
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

// The low 16 bits of the number at the start of the text.
unsigned vdc_number(std::string text) {
  text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.erase(0, 1);
  unsigned number = 0;
  for (const char digit : text.substr(0, text.find_first_not_of("0123456789")))
    number = (number * 10 + digit - '0') % 65536;
  return is_negative ? (65536 - number) % 65536 : number;
}

const char* shown(const char* text) { return text != nullptr ? text : "(null)"; }

}  // namespace

Read pss_get_table(pss_service_t table, char key_type, size_t value_size) {
  const pss_datum_t wanted = {&key_type, 1};
  return read(
      table, value_size, false, [&](syserr_t* status) { return pss_move2key(table, &wanted, status); },
      [&](const pss_datum_t* key) { return begins(key, Bytes(1, key_type)); });
}

Read pss_eng_get_table(pss_service_t table, size_t value_size, int kind) {
  return read(
      table, value_size, true, [&](syserr_t* status) { return pss_move2location(table, PSS_FIRST_KEY, status); },
      [&](const pss_datum_t* key) {
        if (!begins(key, "AFK")) return false;
        if (kind != 1 && kind != 2) say("pss_eng_get_table", "Unrecognized PSS record type");
        return begins(key, "AFKTrack") ? kind == 2 : kind == 1;
      });
}

syserr_t remove_records(pss_service_t table) {
  say(removal, "%s global info", delete_record(table, hex("04000000")) != 0 ? "Failed to delete" : "Deleted");
  const Read vr = pss_get_table(table, 1, 85);
  if (vr.result != 0) return say(removal, "Error getting PSS records in bulk; Ret = %d", vr.result), 0;
  delete_array(table, vr, true);
  const Read ip = pss_get_table(table, 2, 53);
  ip.result != 0 ? say(removal, "Error getting PSS records in bulk; Ret = %d", ip.result)
                 : delete_array(table, ip, false);
  return static_cast<syserr_t>(ip.result);
}

syserr_t copy_records(pss_service_t read_table, pss_service_t written_table) {
  const syserr_t status = store_record(written_table, hex("04000000"), Bytes(1, '\1') + Bytes(20, '\0'));
  status != 0 ? say(copy, "Failed to store global info : Ret_val 0x%x", status) : say(copy, "Stored global info");
  for (const bool is_vr : {true, false}) {
    const Read array = is_vr ? pss_get_table(read_table, 1, 137) : pss_get_table(read_table, 2, 53);
    if (array.result != 0) {
      say(copy, "Error getting PSS records in bulk; Ret = %d", array.result);
      return static_cast<syserr_t>(array.result);
    }
    store_array(written_table, array, is_vr);
  }
  return 0;
}

std::string normal_release(const std::optional<std::string>& text) {
  const auto release = release_of(text);
  return std::to_string(release[0]) + "." + std::to_string(release[1]) + "(" + std::to_string(release[2]) + ")";
}

syserr_t drive(const std::string& path, const std::string& to, const std::string& from, uint32 conversion_type) {
  const bool is_startup = conversion_type == 1, is_gsync = conversion_type == 2;
  say(driver, "Entering upgrade/downgrade code path in Mgr");
  const std::string url =
      ("nonvolatile:" + path + (is_startup ? "/vrrp-cfg_config_sav" : "/vrrp-cfg_runtime_config")).substr(0, 255);
  syserr_t status = 0;
  const pss_service_t table = pss_open(url.c_str(), &status);
  if (status != 0 || table == 0) return say(driver, "Failed to open %s: %s", url.c_str(), text_of(status)), 0;
  say(driver, "Opened Mgr's PSS File %s", url.c_str());

  const char *to_path = getenv("SYSMGR_TO_SRG_PATH"), *from_path = getenv("SYSMGR_FROM_SRG_PATH");
  say(driver, "Info: to srg path %s from srg path %s", shown(to_path), shown(from_path));
  say(driver, "Info: args: to_pkg_version %s from_pkg_version %s", to.c_str(), from.c_str());
  const auto to_text = version_file(to_path);
  say(driver, "Getting version %s", normal_release(to_text).c_str());
  const auto from_text = version_file(from_path);
  say(driver, "Getting version %s", normal_release(from_text).c_str());
  const auto f = release_of(from_text), t = release_of(to_text), boundary = std::vector<long long>{4, 2, 1};
  say(driver, "from version = %s, to version = %s ", normal_release(from_text).c_str(),
      normal_release(to_text).c_str());
  say(driver, "from_major = %lld, from_minor = %lld, to_major = %lld, to_minor = %lld", f[0], f[1], t[0], t[1]);
  say(driver, "from_patch = %lld, to_patch = %lld", f[2], t[2]);

  std::string vdc;
  const size_t mark = path.find("/vdc_");
  if (is_gsync) {
    vdc = std::string(getenv("SYSMGR_VDC_ID") != nullptr ? getenv("SYSMGR_VDC_ID") : "").substr(0, 6);
    say(driver, "VDC ID = %u", vdc_number(vdc));
  } else if (mark != std::string::npos) {
    const std::string rest = path.substr(mark + 5);
    const std::string text = rest.substr(0, rest.size() < 4 ? rest.size() : rest.size() - 4);
    vdc = text.substr(0, 7);
    if (vdc_number(text) == 0) {
      say(driver, "Could not get vdc from path");
      return pss_close(table), SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID;
    }
  }
  say(driver, "VDC string = %s", vdc.c_str());

  const bool is_upgrade = is_gsync && f < boundary;
  if (is_upgrade) handle_upgrade(table, vdc);
  if (is_gsync && !is_upgrade && t < boundary) {
    say(driver, "Handling downgrade changes in Mgr");
    if (copy_records(table, table) != 0) {
      say("vrrp_mgr_handle_downgrade_from_4_2_1", "Error copying PSS recs from Mgr to Engine's RC PSS");
    }
  }
  status = pss_close(table);
  if (is_upgrade && status != 0) say(driver, "Error closing RC PSS file in Mgr : 0x%x(%s)", status, text_of(status));
  if (is_upgrade && status == 0) say(driver, "Closed RC PSS file in Mgr");
  say(driver, is_startup ? "No conversion as it's startup" : "Done with conversion in Mgr");
  return 0;
}

}  // namespace model
