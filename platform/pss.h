/* Persistent storage service: a key/value store with a cursor.
 *
 * A store maps keys to values, both byte strings. One handle has one cursor. A caller opens a store, moves the cursor
 * and reads, stores and deletes in any order, and closes the store:
 *
 *     pss_open -> { pss_move2key | pss_move2location | pss_getvalue | pss_store | pss_delete | pss_snapshot }*
 *              -> pss_close
 *
 * The contract. pss_conformance tests a platform and names the number of a point that does not hold. "The platform's"
 * marks what a caller must not rely on. No operation throws an exception or ends the process.
 *
 *  1. Status 0 is success, every other status has a text (syserr2str). Only SYSERR_PSS_NOKEY has a meaning to
 *     callers: no record under the key, or at the place. A handle that ended, a location or a mode without a meaning,
 *     and an empty key are refused with a status. 2 and 3 are no statuses: they would be taken for results of the
 *     bulk readers (VRRP_CNV_ERR_*).
 *  2. pss_open opens what exists and never creates. Success is status 0 and a handle other than 0. A URL is
 *     "nonvolatile:" and a path; what the path is relative to is the platform's. A URL has up to 255 characters; one
 *     that does not fit is refused, never cut. (The directory in PSS_NONVOLATILE_ROOT is a matter of the embedded
 *     platform and of vrrpconvert.)
 *  3. A store that is open elsewhere: pss_open waits, or fails with a status. In the process that has it open, pss_open
 *     fails, for nobody could end the wait. Two handles never change one store at once. The library has one store open
 *     at a time. All operations are called by one thread at a time; a platform may have threads of its own. A handle is
 *     used by the process that opened it, not by a forked child.
 *  4. Keys are in ascending byte-wise order; a key is before every longer key that begins with it. Keys have one byte
 *     or more, values none or more; every byte may have any value. Keys of 26 and values of 137 bytes must fit,
 *     and 5,000 records of this size, or as many as the device can have; a longer one that does not fit is refused with
 *     a status, never cut. The data of a value of size 0 may be null. Null data with another size are never passed.
 *  5. The cursor is off the store after pss_open, and after a move that found no record (but for PSS_CURRENT_KEY).
 *     From there PSS_NEXT_KEY and PSS_PREVIOUS_KEY find nothing. After a move that failed its place is the
 *     platform's.
 *  6. pss_move2key finds the key itself (status 0) or the next one in order (status SYSERR_PSS_NOKEY, with that key),
 *     or null where there is none.
 *  7. A move that returns null found no record, which is not a failure: callers take it for the end of the store
 *     without a look at the status. A move that fails says so in its status and returns a datum, of size 0 where it
 *     has no key.
 *  8. pss_getvalue off the store, or on a record that was deleted, returns null with SYSERR_PSS_NOKEY.
 *  9. What was stored or deleted shows at once through the same handle, and to others not before pss_close is called.
 * 10. Storing or deleting makes the cursor neither skip nor repeat a record: a deleted record keeps its place until
 *     the next move.
 * 11. Returned data belong to the store, and are valid until the next call on the handle. They have any alignment.
 *     Their sizes are right: callers read no byte beyond. They may be passed to that next call. Arguments are copied
 *     before the call returns.
 * 12. pss_store with PSS_REPLACE replaces the value of a stored key. With PSS_NEW_ONLY a stored key is refused with a
 *     status, and keeps its value. pss_delete of a key that is not stored answers SYSERR_PSS_NOKEY.
 * 13. A pss_store or pss_delete that fails changes no record. Callers go on with the next record and close the store:
 *     where a failure must not leave a partly converted store (no memory, no space), pss_close has to fail too and
 *     keep nothing. A refused change (points 1, 4 and 12) and SYSERR_PSS_NOKEY are no such failures.
 * 14. pss_close ends the handle whatever it returns. After 0 every change is durable. After any other status, or when
 *     the process ends before it returned, the store is wholly as it was or wholly changed. After a downgrade the
 *     library does not look at this status, and traces it nowhere: log a failure yourself.
 * 15. pss_snapshot writes the records as they stand at this moment, changes that are not durable yet included, to a
 *     store at `url` that can be opened: whole and durable after 0; after a failure whole or not there. The store
 *     stays open, its cursor where it is. `flags` is 0 in every call of the library; other values are the platform's.
 *     After a failure the library deletes the records all the same: a platform that must not lose them then fails
 *     pss_close. A snapshot is never written to the URL of an open store. Into a missing directory it fails, or makes
 *     the directory.
 * 16. A second snapshot at the same `url` takes the place of the first, whose fate is the platform's: it may hold the
 *     only copy of the records, because a second upgrade snapshots a store that is empty but for other kinds: keep
 *     it.
 * 17. Beside the store: srg_sw_ver_file_get returns null for a null path and for a file that is not there (an
 *     environment variable that is not set gives the first), else a text that begins with the first line of the file,
 *     511 bytes of it at least, valid until the next call. hton_if_index returns the bytes that keys of the manager's
 *     store hold, others for each index; compare it with a key of yours, for nothing here can. */
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
  PSS_NULL_KEY = 0,     /* no record: the cursor is taken off the store */
  PSS_FIRST_KEY = 1,    /* the first record */
  PSS_LAST_KEY = 2,     /* the last record */
  PSS_NEXT_KEY = 3,     /* the record behind the cursor's */
  PSS_PREVIOUS_KEY = 4, /* the record before the cursor's */
  PSS_CURRENT_KEY = 5   /* the cursor's record */
} pss_location_t;

/* Modes of pss_store. */
enum {
  PSS_NEW_ONLY = 0, /* refuse a key that is stored already */
  PSS_REPLACE = 1   /* replace the value of a key that is stored already */
};

/* Opens the store named by `url` and returns its handle, with `*status` 0. On failure returns 0 with `*status` not 0.
 */
pss_service_t pss_open(const char* url, syserr_t* status);

/* Closes the store and ends the handle, whatever it returns. */
syserr_t pss_close(pss_service_t table);

/* Places the cursor on `key` (status 0) or, when that key is not stored, on the next key in order (status
 * SYSERR_PSS_NOKEY). Returns the key under the cursor, or null when no record lies at or behind the place. */
pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status);

/* Moves the cursor to `location` and returns the key under it with status 0, or null with status SYSERR_PSS_NOKEY when
 * no record lies there. PSS_CURRENT_KEY keeps the place of a record that was deleted. */
pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status);

/* Returns the value of the record under the cursor with status 0, or null with a status that says why not. */
const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status);

/* Stores `value` under `key`. `mode` is PSS_NEW_ONLY or PSS_REPLACE. */
syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value);

/* Removes the record under `key`. */
syserr_t pss_delete(pss_service_t table, const pss_datum_t* key);

/* Writes the store's records to a snapshot at `url`. */
syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url);

#ifdef __cplusplus
}
#endif

#endif
