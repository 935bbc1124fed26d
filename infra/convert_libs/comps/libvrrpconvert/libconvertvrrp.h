/* libconvertvrrp: converts the stored configuration of the VRRP manager when a device changes its software release.
 *
 * The system manager calls one of the three entry points. Only convert_gsync converts: the driver opens the store,
 * reads both releases from the package version files, and calls at most one handler. convert_startup inspects the
 * startup store and closes it; convert_running writes a trace line.
 *
 *     convert_gsync ---> vrrp_mgr_handle_generic_convert -+-> upgrade handler: snapshot, then removal
 *                                                         +-> downgrade handler: copy in the old layout
 *     convert_startup -> vrrp_mgr_handle_generic_convert --> no handler
 *
 * An upgrade from a release older than 4.2(1) snapshots the store and deletes its global info, VR configuration and IP
 * association records. A downgrade to such a release stores a global info record with VRRP enabled, and rewrites every
 * VR configuration and IP association record in the old layout. Records of any other kind are unchanged.
 *
 * Conventions
 *  1. Strings are NUL-terminated input parameters; the library keeps no pointer to them after the call. A null path or
 *     traced string is treated as "(null)", a null VDC string as "".
 *  2. syserr_t results: 0 is success, any other value is a platform status (syserr2str). int32 results of the bulk
 *     readers and of make_afk_key: 0 is success, VRRP_CNV_ERR_NO_VALUE, VRRP_CNV_ERR_NO_MEMORY, or a platform status
 *     unchanged.
 *  3. Failures appear only in the trace log. The entry points return 0, except convert_startup for a path with "/vdc_"
 *     and no VDC number, or one whose low 16 bits are 0. The library does not even trace a failed close after a
 *     downgrade.
 *  4. Memory that a function allocates belongs to the caller, who releases it with free(). If the result is not 0, the
 *     function returns no memory.
 *  5. The caller owns key buffers, which are at least as long as the key. Builders write the key without a terminator.
 *  6. Integers are in host byte order unless a layout says otherwise (records/record_formats.h, records/record_keys.h).
 *  7. One thread at a time calls the library: all functions share the trace state and the version globals without a
 *     lock.
 *  8. A function uses a store handle during the call only. Only the driver opens and closes stores.
 *  9. The library does not print, exit, throw, or change signal handlers, the umask or the working directory.
 * 10. The header compiles as C11, C++11 and later. */
#ifndef LIBCONVERTVRRP_H
#define LIBCONVERTVRRP_H

#include <time.h>

#include "platform/platform.h"
#include "records/record_formats.h"
#include "records/record_keys.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Results of the bulk readers and of make_afk_key in addition to 0 and platform statuses. */
enum {
  VRRP_CNV_ERR_NO_VALUE = 2, /* the store returned status 0 but no value for a record */
  VRRP_CNV_ERR_NO_MEMORY = 3 /* an allocation failed */
};

/* ---- Entry points and driver ---- */

/* Values of conversion_type. For any other value the driver opens the running store and does not convert it. */
enum {
  VRRP_CONVERT_STARTUP = 1, /* store VRRP_CNV_STARTUP_STORE: opened and inspected, never changed */
  VRRP_CONVERT_GSYNC = 2    /* store VRRP_CNV_RUNNING_STORE: converted if the releases require it */
};

/* Names of stores in the directory that the caller passes, and absolute paths. */
#define VRRP_CNV_RUNNING_STORE "vrrp-cfg_runtime_config"
#define VRRP_CNV_STARTUP_STORE "vrrp-cfg_config_sav"
#define VRRP_CNV_STARTUP_DIRECTORY "/bin" /* in the directory that is passed to convert_startup */
#define VRRP_CNV_SNAPSHOT "/tmp/vrrp-pss" /* after "nonvolatile:"; followed by the VDC string unless that is "1" */
#define VRRP_CNV_STARTUP_SNAPSHOT "/tmp/vrrp-startup-pss"
#define VRRP_CNV_TRACE_LOG "/bootflash/libconvertvrrpmgr.log"

/* Writes a trace line. Returns 0. Note the order: source version before target version. */
syserr_t convert_running(const char* pkg_name, const char* from_pkg_version, const char* to_pkg_version);

/* Opens the saved startup store in the "/bin" subdirectory of `path`, inspects it, and closes it unchanged. Returns 0,
 * or SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID if the store opens and `path` contains "/vdc_" without a number after it, or with
 * a multiple of 65536, 0 included. If `path` has 252 characters or more, it opens no store and returns 0. */
syserr_t convert_startup(const char* path, const char* pkg_name, const char* to_pkg_version,
                         const char* from_pkg_version);

/* Converts the running store in the directory `path`. The store URL, "nonvolatile:" `path` "/vrrp-cfg_runtime_config",
 * is truncated to 255 characters, so `path` has at most 219. The store URL does not depend on the VDC. The first 6
 * characters of SYSMGR_VDC_ID are appended to the name of the snapshot, unless they are "1". If SYSMGR_VDC_ID is not
 * set, nothing is appended. Always returns 0. */
syserr_t convert_gsync(const char* path, const char* pkg_name, const char* to_pkg_version,
                       const char* from_pkg_version);

/* The driver behind convert_startup (with "/bin" in `path`) and convert_gsync. Ignores `pkg_name` and only traces the
 * version parameters. The releases come from the files named by SYSMGR_TO_SRG_PATH and SYSMGR_FROM_SRG_PATH. */
syserr_t vrrp_mgr_handle_generic_convert(const char* path, const char* pkg_name, const char* to_pkg_version,
                                         const char* from_pkg_version, uint32 conversion_type);

/* ---- Releases ---- */

/* The first release that stores records in the new layout: 4.2(1). */
#define VRRP_CNV_BOUNDARY_MAJOR 4
#define VRRP_CNV_BOUNDARY_MINOR 2
#define VRRP_CNV_BOUNDARY_PATCH 1

/* Size in bytes of a buffer for a normalised version text, "%d.%d(%d)". */
#define VRRP_CNV_VERSION_TEXT_MAX 512

/* Releases of the latest driver call; 0 before the first. If the major or minor number cannot be read, all three
 * numbers are 2147483647, later than any release: an unreadable source release never triggers an upgrade, and an
 * unreadable target release never triggers a downgrade. A patch number that cannot be read is 2147483647. */
extern int32 from_major, from_minor, from_patch;
extern int32 to_major, to_minor, to_patch;

/* Reads the release in the package version file `srg_file` and writes it to
 * corrected_pkg_ver[0..VRRP_CNV_VERSION_TEXT_MAX-1] in its normal form. For example, "4.2(1a) of May" becomes "4.2(1)".
 * In the normal form of an unreadable text, each number is 2147483647. Ignores `pkg_ver`. */
void vrrp_mgr_get_corrected_pkg_ver(const char* pkg_ver, const char* srg_file, char* corrected_pkg_ver);

/* Reads the three numbers of `version`. Returns the number of values read (0 to 3), or -1 if `version` is null, empty
 * or blank. Numbers that were not read are not changed. A number that does not fit in 32 bits is clamped. */
int32 vrrp_mgr_split_version(const char* version, int32* major, int32* minor, int32* patch);

/* Returns 1 if the source release (`upgrade` is 1) or the target release (any other `upgrade`) is older than the
 * required release, else 0. */
bool_t vrrp_mgr_check_if_conversion_necessary(uint32 upgrade, int32 reqd_major, int32 reqd_minor, int32 reqd_patch,
                                              int32 source_major, int32 source_minor, int32 source_patch,
                                              int32 target_major, int32 target_minor, int32 target_patch);

/* ---- Trace log ---- */

/* Size in bytes of the line buffer: a line has at most 999 characters. */
#define VRRP_CNV_TRACE_LINE_MAX 1000

extern int32 trace_fd;                          /* file descriptor of the log, -1 while it is closed */
extern char debug_str[VRRP_CNV_TRACE_LINE_MAX]; /* the latest line, NUL-terminated */
extern time_t tstamp;                           /* time of the latest line */

/* ---- Upgrade ---- */

/* Takes a snapshot of the store to VRRP_CNV_SNAPSHOT (VRRP_CNV_STARTUP_SNAPSHOT for VRRP_CONVERT_STARTUP), followed by
 * `vdc_string` unless that is "1", then deletes the global info, VR configuration and IP association records, even if
 * the snapshot failed. The snapshot URL is limited to 255 characters, so `vdc_string` is truncated to 230 characters
 * (222 for VRRP_CONVERT_STARTUP). Always returns 0. */
syserr_t vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t mgr_rc_pss_table, uint32 conversion_type,
                                          const char* vdc_string);

/* Deletes the global info record and every VR configuration and IP association record. Returns 0, or the status of a
 * failed bulk read of the IP association records. If the bulk read of the VR configuration records fails, returns 0
 * and deletes no IP association record. */
syserr_t vrrp_delete_rc_pss_recs_for_upgrade(pss_service_t mgr_rc_pss_table);

/* ---- Downgrade ---- */

/* Rewrites the records of `pss_eng_rc_table` in the old layout into `pss_mgr_rc_table`; both may be the same store.
 * Returns 0. */
syserr_t vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t pss_mgr_rc_table, pss_service_t pss_eng_rc_table);

/* Stores a global info record with VRRP enabled in `pss_mgr_rc_table`, whatever its value was. Truncates every VR
 * configuration and IP association record of `pss_eng_rc_table` to the old layout and stores it in `pss_mgr_rc_table`.
 * Returns 0, or the status of the bulk read that failed. */
syserr_t vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(pss_service_t pss_eng_rc_table,
                                                             pss_service_t pss_mgr_rc_table);

/* ---- Bulk readers ---- */

/* Reads the values of all records of `key_type` of the manager store, in key order, into one array of `*num_values`
 * elements: element i holds the first `value_size` bytes of value i. `*value_array` is written only with result 0 and a
 * count above 0; `*num_values` is valid only with result 0.
 *
 * Reads no more than `siz` bytes of a key or value that the store returns. If a value is shorter than `value_size`, the
 * rest of its element is zero. If a zero changes a field that is part of the key, the conversion stores or deletes the
 * record under a different key. If records appear between the counting pass and the reading pass, the reader drops the
 * records beyond the counted number. */
int32 pss_get_table(pss_service_t table, vrrp_pss_key_type_t key_type, void** value_array, int32* num_values,
                    int32 value_size);

/* Does the same for the records of kind `pss_key_type` of the engine store. */
int32 pss_eng_get_table(pss_service_t table, void** value_array, int32* num_values, int32 value_size,
                        vrrp_ri_pss_key_type_t pss_key_type);

/* ---- Keys (layouts: records/record_keys.h) ---- */

extern char afk[3]; /* "AFK", the prefix of engine-store keys, without a terminator */

/* Returns `addr_type` in network byte order. */
uint32 vrrp_hton_addr_type(inet_addr_type_t addr_type);

/* Builds the VR key, key[0..9]. If `key_type` is not 1, 2 or 5, it does not change the buffer. */
void vrrp_make_vr_key(uint8* key, vrrp_pss_key_type_t key_type, if_index_t ifindex, uint8 vr_id,
                      inet_addr_type_t addr_type);

/* Builds the IP association key, key[0..25]. */
void vrrp_make_assoc_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_t inet_addr);

/* Builds the track key, key[0..13]. */
void vrrp_make_track_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type, uint32 track_obj_id);

/* Builds the engine-store VR key, key[0..8]. */
void make_vr_key(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type);

/* Builds the prefix of the engine-store track keys of a VR, key[0..13]. */
void vrrp_make_vr_key_for_track(uint8* key, if_index_t ifindex, uint8 vr_id, inet_addr_type_t addr_type);

/* Builds the engine-store track key, key[0..17]. Note the order: `vr_id` before `ifindex`. */
void vrrp_make_ri_track_key(uint8* key, uint8 vr_id, if_index_t ifindex, inet_addr_type_t addr_type,
                            uint32 track_obj_id);

/* Allocates `key_size` + 3 bytes, writes "AFK" and key[0..key_size-1] into them, and returns them in `*afk_key`; the
 * caller releases them with free(). Returns 0. If there is no memory or `key_size` is negative, returns
 * VRRP_CNV_ERR_NO_MEMORY and does not change `*afk_key`. */
int32 make_afk_key(char** afk_key, char* key, int32 key_size);

/* ---- Record dump, into the trace log ---- */

/* Write each field of a VR configuration record with its name. */
void vrrp_print_rc_pss_rec_old(vrrp_old_config_record_t vr_rec);
void vrrp_print_rc_pss_rec_new(vrrp_config_record_t vr_rec);

/* Writes the start of a record (`topmost` is 1) or of a nested structure (any other `topmost`). */
void vrrp_dbg_print_header(const char* field_name, bool_t topmost);

/* Writes the end of a record or structure. */
void vrrp_dbg_print_trailer(void);

/* Writes one integer in hexadecimal. */
void vrrp_dbg_print_int_info(int32 field, const char* field_name);

/* Writes the type of an address, and its first four bytes as one integer in host byte order. */
void vrrp_dbg_print_inet_info(inet_addr_t inet_data, const char* field_name);

/* Writes arr_elem[0..arr_size-1] in hexadecimal. If `arr_size` is 0 or less, writes an empty structure. */
void vrrp_dbg_print_int_arr_info(const uint8* arr_elem, const char* arr_name, int32 arr_size);

#ifdef __cplusplus
}
#endif

#endif
