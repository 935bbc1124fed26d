// Entry points, driver and version decision.

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "libconvertvrrp.h"
#include "platform/platform.h"
#include "trace/trace.h"

int32 from_major, from_minor, from_patch;
int32 to_major, to_minor, to_patch;

namespace {

constexpr size_t path_max = 256;      // store URLs and paths, terminator included
constexpr size_t vdc_string_max = 8;  // the VDC number as text, terminator included
constexpr char operation[] = "vrrp_mgr_handle_generic_convert";

// ---- Releases ----

// Modes of vrrp_mgr_check_if_conversion_necessary.
constexpr uint32 downgrade_test = 0, upgrade_test = 1;

// An unreadable number counts as later than any release, so that it never triggers a conversion.
constexpr int32 unreadable = INT_MAX;

// Scans into 64 bits and clamps to 32, so that 32-bit and 64-bit builds read the same numbers.
struct ReleaseScan {
  long long major = unreadable, minor = unreadable, patch = unreadable;

  static int32 narrow(long long number) {
    return number < INT_MIN ? INT_MIN : number > INT_MAX ? INT_MAX : static_cast<int32>(number);
  }
};

bool older(int32 major, int32 minor, int32 patch, int32 reqd_major, int32 reqd_minor, int32 reqd_patch) {
  if (major != reqd_major) return major < reqd_major;
  if (minor != reqd_minor) return minor < reqd_minor;
  return patch < reqd_patch;
}

// Whether the source release (upgrade_test) or the target release (downgrade_test) of this conversion is older than the
// boundary.
bool crosses_boundary(uint32 test) {
  return vrrp_mgr_check_if_conversion_necessary(test, VRRP_CNV_BOUNDARY_MAJOR, VRRP_CNV_BOUNDARY_MINOR,
                                                VRRP_CNV_BOUNDARY_PATCH, from_major, from_minor, from_patch, to_major,
                                                to_minor, to_patch) != 0;
}

// Reads both releases from their version files into the version globals.
void read_releases(const char* to_pkg_version, const char* from_pkg_version) {
  const char* to_srg_path = getenv("SYSMGR_TO_SRG_PATH");
  const char* from_srg_path = getenv("SYSMGR_FROM_SRG_PATH");
  VRRP_CNV_TRACE_FOR(operation, "Info: to srg path %s from srg path %s\n", vrrp_cnv::shown(to_srg_path),
                     vrrp_cnv::shown(from_srg_path));
  VRRP_CNV_TRACE_FOR(operation, "Info: args: to_pkg_version %s from_pkg_version %s\n", vrrp_cnv::shown(to_pkg_version),
                     vrrp_cnv::shown(from_pkg_version));

  char corrected_to_pkg_ver[VRRP_CNV_VERSION_TEXT_MAX] = {};
  char corrected_from_pkg_ver[VRRP_CNV_VERSION_TEXT_MAX] = {};
  vrrp_mgr_get_corrected_pkg_ver(to_pkg_version, to_srg_path, corrected_to_pkg_ver);
  VRRP_CNV_TRACE_FOR(operation, "Getting version %s\n", corrected_to_pkg_ver);
  vrrp_mgr_get_corrected_pkg_ver(from_pkg_version, from_srg_path, corrected_from_pkg_ver);
  VRRP_CNV_TRACE_FOR(operation, "Getting version %s\n", corrected_from_pkg_ver);

  // A normalised text always contains three numbers, so ignore the counts.
  (void)vrrp_mgr_split_version(corrected_from_pkg_ver, &from_major, &from_minor, &from_patch);
  (void)vrrp_mgr_split_version(corrected_to_pkg_ver, &to_major, &to_minor, &to_patch);
  VRRP_CNV_TRACE_FOR(operation, "from version = %s, to version = %s \n", corrected_from_pkg_ver, corrected_to_pkg_ver);
  VRRP_CNV_TRACE_FOR(operation, "from_major = %d, from_minor = %d, to_major = %d, to_minor = %d\n", from_major,
                     from_minor, to_major, to_minor);
  VRRP_CNV_TRACE_FOR(operation, "from_patch = %d, to_patch = %d\n", from_patch, to_patch);
}

// ---- VDC ----

// The low 16 bits of the base-10 integer at the start of text[0..length-1]: blanks, a sign, and any number of digits.
// Does not call strtol(), which would also read digits after the text and clamp at LONG_MAX.
vdc_id_t vdc_number(const char* text, size_t length) {
  const char* const end = text + length;
  while (text < end && strchr(" \t\n\v\f\r", *text) != nullptr) ++text;
  const bool is_negative = text < end && *text == '-';
  if (is_negative || (text < end && *text == '+')) ++text;
  uint32 number = 0;
  for (; text < end && *text >= '0' && *text <= '9'; ++text) number = number * 10 + static_cast<uint32>(*text - '0');
  return static_cast<vdc_id_t>(is_negative ? 0 - number : number);
}

// Copies the first 6 characters of the VDC text that the system manager provides. Accepts any text.
void read_gsync_vdc(char (&vdc_string)[vdc_string_max]) {
  const char* value = getenv("SYSMGR_VDC_ID");
  snprintf(vdc_string, sizeof vdc_string - 1, "%s", value != nullptr ? value : "");
  VRRP_CNV_TRACE_FOR(operation, "VDC ID = %u\n", vdc_number(vdc_string, strlen(vdc_string)));
}

// Copies the VDC text of a startup path: the text between "/vdc_" and the "/bin" at the end. Returns false if its
// number is 0.
bool read_startup_vdc(const char* path, char (&vdc_string)[vdc_string_max]) {
  static constexpr char mark[] = "/vdc_";
  const char* found = strstr(path, mark);
  if (found == nullptr) return true;

  const char* vdc_text = found + strlen(mark);
  size_t length = strlen(vdc_text);
  if (length >= strlen(VRRP_CNV_STARTUP_DIRECTORY)) length -= strlen(VRRP_CNV_STARTUP_DIRECTORY);
  if (vdc_number(vdc_text, length) == 0) {
    VRRP_CNV_TRACE_FOR(operation, "Could not get vdc from path\n");
    return false;
  }
  const size_t copied = length < sizeof vdc_string ? length : sizeof vdc_string - 1;
  snprintf(vdc_string, sizeof vdc_string, "%.*s", static_cast<int>(copied), vdc_text);
  return true;
}

// ---- Store ----

pss_service_t open_store(const char* path, uint32 conversion_type) {
  const char* store_name = conversion_type == VRRP_CONVERT_STARTUP ? VRRP_CNV_STARTUP_STORE : VRRP_CNV_RUNNING_STORE;
  char mgr_rc_url[path_max];
  snprintf(mgr_rc_url, sizeof mgr_rc_url, "nonvolatile:%s/%s", path, store_name);

  syserr_t ret_val = 0;
  const pss_service_t mgr_rc_pss_table = pss_open(mgr_rc_url, &ret_val);
  if (ret_val != 0 || mgr_rc_pss_table == 0) {
    VRRP_CNV_TRACE_FOR(operation, "Failed to open %s: %s\n", mgr_rc_url, syserr2str(ret_val));
    return 0;
  }
  VRRP_CNV_TRACE_FOR(operation, "Opened Mgr's PSS File %s\n", mgr_rc_url);
  return mgr_rc_pss_table;
}

void upgrade_and_close(pss_service_t mgr_rc_pss_table, const char* vdc_string) {
  syserr_t ret_val = vrrp_mgr_handle_upgrade_to_4_2_1(mgr_rc_pss_table, VRRP_CONVERT_GSYNC, vdc_string);
  if (ret_val != 0) VRRP_CNV_TRACE_FOR(operation, "Error handling upgrade changes : Ret 0x%x\n", ret_val);

  ret_val = pss_close(mgr_rc_pss_table);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error closing RC PSS file in Mgr : 0x%x(%s)\n", ret_val, syserr2str(ret_val));
  } else {
    VRRP_CNV_TRACE_FOR(operation, "Closed RC PSS file in Mgr\n");
  }
}

void downgrade(pss_service_t mgr_rc_pss_table) {
  VRRP_CNV_TRACE_FOR(operation, "Handling downgrade changes in Mgr\n");
  const syserr_t ret_val = vrrp_mgr_handle_downgrade_from_4_2_1(mgr_rc_pss_table, mgr_rc_pss_table);
  if (ret_val != 0) {
    VRRP_CNV_TRACE_FOR(operation, "Error handling downgrade changes : Ret %d\n", static_cast<int32>(ret_val));
  }
}

// Ignores the status on purpose: only the close after an upgrade is traced.
void close_unreported(pss_service_t mgr_rc_pss_table) { (void)pss_close(mgr_rc_pss_table); }

}  // namespace

// ---- Entry points ----

syserr_t convert_running(const char*, const char*, const char*) {
  vrrp_cnv::open_trace_log();
  VRRP_CNV_TRACE("Convert running called\n");
  return 0;
}

syserr_t convert_startup(const char* path, const char* pkg_name, const char* to_pkg_version,
                         const char* from_pkg_version) {
  vrrp_cnv::open_trace_log();
  VRRP_CNV_TRACE("Convert startup called\n");

  char new_path[path_max];
  const int length = snprintf(new_path, sizeof new_path, "%s" VRRP_CNV_STARTUP_DIRECTORY, vrrp_cnv::shown(path));
  if (static_cast<size_t>(length) >= sizeof new_path) {
    // A truncated path could name another store.
    VRRP_CNV_TRACE("Startup path of %zu characters leaves no room for /bin\n", strlen(path));
    return 0;
  }
  return vrrp_mgr_handle_generic_convert(new_path, pkg_name, to_pkg_version, from_pkg_version, VRRP_CONVERT_STARTUP);
}

syserr_t convert_gsync(const char* path, const char* pkg_name, const char* to_pkg_version,
                       const char* from_pkg_version) {
  vrrp_cnv::open_trace_log();
  VRRP_CNV_TRACE("Conversion routine called\n");
  return vrrp_mgr_handle_generic_convert(path, pkg_name, to_pkg_version, from_pkg_version, VRRP_CONVERT_GSYNC);
}

// ---- Driver ----

syserr_t vrrp_mgr_handle_generic_convert(const char* path, const char*, const char* to_pkg_version,
                                         const char* from_pkg_version, uint32 conversion_type) {
  VRRP_CNV_TRACE("Entering upgrade/downgrade code path in Mgr\n");
  path = vrrp_cnv::shown(path);
  const pss_service_t mgr_rc_pss_table = open_store(path, conversion_type);
  if (mgr_rc_pss_table == 0) return 0;

  read_releases(to_pkg_version, from_pkg_version);

  char vdc_string[vdc_string_max] = "";
  if (conversion_type == VRRP_CONVERT_GSYNC) {
    read_gsync_vdc(vdc_string);
  } else if (!read_startup_vdc(path, vdc_string)) {
    close_unreported(mgr_rc_pss_table);
    return SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID;
  }
  VRRP_CNV_TRACE("VDC string = %s\n", vdc_string);

  // Check the source release first: if both releases are older than the boundary, the upgrade runs.
  const bool converts = conversion_type == VRRP_CONVERT_GSYNC;
  if (converts && crosses_boundary(upgrade_test)) {
    upgrade_and_close(mgr_rc_pss_table, vdc_string);
    VRRP_CNV_TRACE("Done with conversion in Mgr\n");
    return 0;
  }
  if (converts && crosses_boundary(downgrade_test)) downgrade(mgr_rc_pss_table);
  close_unreported(mgr_rc_pss_table);
  if (conversion_type == VRRP_CONVERT_STARTUP) {
    VRRP_CNV_TRACE("No conversion as it's startup\n");
  } else {
    VRRP_CNV_TRACE("Done with conversion in Mgr\n");
  }
  return 0;
}

// ---- Version decision ----

void vrrp_mgr_get_corrected_pkg_ver(const char*, const char* srg_file, char* corrected_pkg_ver) {
  ReleaseScan scan;
  const char* text = srg_sw_ver_file_get(srg_file);
  const int count = text != nullptr ? sscanf(text, "%lld.%lld(%lld%*s)", &scan.major, &scan.minor, &scan.patch) : 0;
  // A major number alone could be any number: "3rd floor" must not trigger an upgrade, which deletes records.
  if (count < 2) scan = {};
  snprintf(corrected_pkg_ver, VRRP_CNV_VERSION_TEXT_MAX, "%d.%d(%d)", ReleaseScan::narrow(scan.major),
           ReleaseScan::narrow(scan.minor), ReleaseScan::narrow(scan.patch));
}

int32 vrrp_mgr_split_version(const char* version, int32* major, int32* minor, int32* patch) {
  ReleaseScan scan;
  const int32 count =
      version != nullptr ? sscanf(version, "%lld.%lld(%lld)", &scan.major, &scan.minor, &scan.patch) : -1;
  if (count >= 1) *major = ReleaseScan::narrow(scan.major);
  if (count >= 2) *minor = ReleaseScan::narrow(scan.minor);
  if (count >= 3) *patch = ReleaseScan::narrow(scan.patch);
  return count;
}

bool_t vrrp_mgr_check_if_conversion_necessary(uint32 upgrade, int32 reqd_major, int32 reqd_minor, int32 reqd_patch,
                                              int32 source_major, int32 source_minor, int32 source_patch,
                                              int32 target_major, int32 target_minor, int32 target_patch) {
  if (upgrade == upgrade_test) {
    return older(source_major, source_minor, source_patch, reqd_major, reqd_minor, reqd_patch) ? 1 : 0;
  }
  return older(target_major, target_minor, target_patch, reqd_major, reqd_minor, reqd_patch) ? 1 : 0;
}
