/* Persistent storage service: a key/value store with a cursor.
 *
 * A store maps keys to values, both byte strings. One handle has one cursor. A caller opens a store, moves the cursor
 * and reads, stores and deletes in any order, and closes the store:
 *
 *     pss_open -> { pss_move2key | pss_move2location | pss_getvalue | pss_store | pss_delete | pss_snapshot }*
 *              -> pss_close
 *
 * Contract. A platform must satisfy every numbered point. pss_conformance tests the points and reports a failed point
 * by its number. "Platform-defined" marks behaviour that callers must not rely on. No operation throws an exception or
 * ends the process.
 *
 *  1. Status 0 is success. Every other status has a text (syserr2str). The library distinguishes 0, SYSERR_PSS_NOKEY
 *     (no record under the key or at the location), and failure (any other status). A text is one line and not empty.
 *     An operation returns a status other than 0 for a closed handle, an undefined location or mode, and an empty key;
 *     that may be SYSERR_PSS_NOKEY. No operation returns status 2 or 3, because callers could not distinguish them from
 *     VRRP_CNV_ERR_*.
 *  2. pss_open opens an existing store and never creates one. It refuses a directory and a damaged, truncated or
 *     foreign file, and never opens one as a store with fewer records: the library would convert the rest, and
 *     pss_close would make it durable. Success is status 0 and a handle other than 0. A URL is "nonvolatile:" and a
 *     path. The directory to which the path is relative is platform-defined. Callers use URLs of up to 255 characters.
 *     The limit of a platform may be lower or higher: pss_open refuses a URL beyond its limit, and never truncates it.
 *  3. If another process has the store open, pss_open waits or fails. The wait has a limit (the embedded platform: 5
 *     seconds), because the library converts while the device boots. If this process has the store open, pss_open
 *     fails, because the wait would never end. Two handles never change one store at the same time. The library has one
 *     store open at a time. One thread at a time calls the operations. A platform may have threads of its own. Only the
 *     process that opened a handle uses it, not a forked child. A lock of the open file description (flock) belongs to
 *     the child too, which closes its descriptor or ends before another process gets the lock. pss_conformance opens a
 *     store in two processes; it cannot find every race: repeat that with many processes.
 *  4. Keys are in ascending byte-wise order. A key precedes every longer key that begins with it. A key has at least
 *     one byte. A value may be empty. Each byte may have any value. A store must have room for 5,000 records with keys
 *     of 26 and values of 137 bytes, or for the largest number of records that the device can have. If a longer key or
 *     value does not fit, pss_store refuses it and never truncates it. The data pointer of an empty value may be null,
 *     that of any other value is never null.
 *  5. The cursor is off the store after pss_open, and after a move that finds no record. Exception: PSS_CURRENT_KEY
 *     does not move the cursor. If the cursor is off the store, PSS_NEXT_KEY and PSS_PREVIOUS_KEY find no record. If a
 *     move fails, the position of the cursor is platform-defined. The simplest cursor that satisfies points 5 to 10 is
 *     a copy of a key and a state (off, on, deleted), which each move looks up again.
 *  6. If the key is stored, pss_move2key moves to it (status 0). If not, it moves to the next key in order and returns
 *     that key with status SYSERR_PSS_NOKEY, or null with SYSERR_PSS_NOKEY if there is none.
 *  7. A move returns null only if it finds no record. Callers treat null as the end of the store and do not check the
 *     status. If a move fails, it sets the status and returns a datum that is not null. If there is no key, the datum
 *     has size 0.
 *  8. If the cursor is off the store, or on a deleted record, pss_getvalue returns null with SYSERR_PSS_NOKEY.
 *  9. A change is visible through the same handle at once. Other processes do not see it before the caller calls
 *     pss_close.
 * 10. After a change the cursor neither skips nor repeats a record. If the record under the cursor is deleted, the
 *     cursor keeps its position until the next move.
 * 11. Returned data belong to the store and are valid until the next call on the handle. The caller may pass them to
 *     that call. A pss_open that fails leaves them alone. Returned data may have any alignment. Callers read `siz`
 *     bytes and no more. An operation reads `siz` bytes of an argument, copies them before it returns, and never
 *     changes an argument.
 * 12. pss_store with PSS_REPLACE replaces the value of a stored key. With PSS_NEW_ONLY it refuses a stored key and does
 *     not change its value. pss_delete of a key that is not stored returns SYSERR_PSS_NOKEY.
 * 13. If pss_store or pss_delete fails, it changes no record. Callers continue with the next record and then close the
 *     store. If pss_store or pss_delete fails because there is no memory or no space, pss_close must fail too and roll
 *     back every change. Otherwise the store would be partly converted. After a refused change (points 1, 4 and 12) or
 *     SYSERR_PSS_NOKEY, pss_close commits the other changes. pss_conformance cannot make memory or space short: let
 *     each allocation and each write fail in turn, and compare the store with both states.
 * 14. pss_close ends the handle even if it fails. After status 0 every change is durable. After another status, or if
 *     the process ends before pss_close returns, the store has all changes or none. That includes exit() with its
 *     destructors and atexit functions: it commits nothing. After a downgrade the library ignores this status and does
 *     not trace it, so the platform must log a failed close itself. pss_conformance cannot cut the power: verify with
 *     strace that the data are synced before the rename or the commit, and the directory after it.
 * 15. pss_snapshot writes the current records, including changes that are not durable yet, to a store at `url`.
 *     pss_open can open that store. After status 0 the snapshot is complete and durable. After another status it is
 *     complete or absent. The store stays open and its cursor does not move. The library passes `flags` 0. Other values
 *     are platform-defined. If pss_snapshot fails, an upgrade deletes the records anyway. If the platform must not lose
 *     them, its pss_close must fail and roll back. The caller never passes the URL of an open store. If the directory
 *     of `url` is missing, pss_snapshot fails or creates it. The snapshot and the store are not readable by more users
 *     than the store was, because records contain authentication keys. The path of a snapshot is a known name in a
 *     public directory: a symbolic link there is never followed, and the file behind it never changed.
 * 16. If there is a snapshot at `url`, the new one replaces it. The platform may keep or delete the earlier snapshot.
 *     Rename it if possible: if an upgrade runs twice, the second snapshot does not contain the records that the first
 *     upgrade deleted, so the earlier snapshot is their only copy. Side files of a snapshot (a log, an index) are
 *     replaced or renamed together with it.
 * 17. srg_sw_ver_file_get returns null for a null path (an environment variable that is not set) and for a missing
 *     file. For a file of up to 511 bytes it returns a text that begins with the first line as it is, also if it is
 *     empty or looks like a comment. For a longer file it returns such a text or null. The text is valid until the next
 *     call. hton_if_index returns the interface index as it appears in keys of the manager's store, a different value
 *     for each index. Compare the value with a key from a device: pss_conformance tests only that the values differ.
 * 18. No operation changes the umask, working directory, time zone, signal handlers or environment of the process. Any
 *     number of sessions, snapshots and version files, one after the other, leaves no descriptor open.
 */
#ifndef PLATFORM_PSS_H
#define PLATFORM_PSS_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Handle of an open store; 0 is no store. */
typedef uint32 pss_service_t;

/* `siz` bytes at `ptr`. Both are set in every datum that an operation returns. */
typedef struct {
  void* ptr;
  uint32 siz;
} pss_datum_t;

typedef enum {
  PSS_NULL_KEY = 0,     /* no record: moves the cursor off the store */
  PSS_FIRST_KEY = 1,    /* the first record */
  PSS_LAST_KEY = 2,     /* the last record */
  PSS_NEXT_KEY = 3,     /* the record after the cursor's */
  PSS_PREVIOUS_KEY = 4, /* the record before the cursor's */
  PSS_CURRENT_KEY = 5   /* the cursor's record */
} pss_location_t;

/* Modes of pss_store. */
enum {
  PSS_NEW_ONLY = 0, /* refuse a key that is stored already */
  PSS_REPLACE = 1   /* replace the value of a key that is stored already */
};

/* Opens the store at `url` and returns its handle, with `*status` 0. If it fails, returns 0 with another `*status`. */
pss_service_t pss_open(const char* url, syserr_t* status);

/* Closes the store and ends the handle. Returns 0 if every change is durable, else another status. */
syserr_t pss_close(pss_service_t table);

/* Moves the cursor to `key` (status 0) or, if that key is not stored, to the next key in order (status
 * SYSERR_PSS_NOKEY). Returns the key under the cursor, or null if there is neither. */
pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status);

/* Moves the cursor to `location` and returns the key under it with status 0, or null with status SYSERR_PSS_NOKEY if
 * there is no record. PSS_CURRENT_KEY does not move the cursor, not even from a deleted record. */
pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status);

/* Returns the value of the record under the cursor with status 0, or null with another status. */
const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status);

/* Stores `value` under `key`. `mode` is PSS_NEW_ONLY or PSS_REPLACE. */
syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value);

/* Deletes the record under `key`. */
syserr_t pss_delete(pss_service_t table, const pss_datum_t* key);

/* Writes the store's records to a snapshot at `url`. */
syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url);

#ifdef __cplusplus
}
#endif

#endif
