/* Persistent storage service: a key/value store with a cursor.
 *
 * A store maps keys to values, both byte strings, and keeps its keys in ascending byte-wise order; a key sorts before
 * every longer key that begins with it. One handle has one cursor. A caller opens a store, moves the cursor and reads,
 * stores and deletes in any order, and closes the store:
 *
 *     pss_open -> { pss_move2key | pss_move2location | pss_getvalue | pss_store | pss_delete | pss_snapshot }* ->
 * pss_close
 *
 * Conventions
 *  1. Statuses: 0 is success. The operations that return a datum write their status to `*status`, the others return it.
 *  2. Ownership: data behind a returned datum belong to the store and are valid until the next call on that handle.
 *     The store copies what it is given before a call returns.
 *  3. A move that returns null found no record: the end of the store, which is not a failure. A move that fails says
 *     so in its status and returns a datum of size 0, because callers take null for the end without a look at the
 *     status.
 *  4. The size of every returned key and value is right: callers read no byte beyond it.
 *  5. Storing or deleting between two moves makes the cursor neither skip nor repeat a record.
 *  6. The operations are called by one thread at a time. */
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

/* Opens the store named by `url` ("nonvolatile:" and a path) and returns its handle, with `*status` 0. On failure
 * returns 0 with `*status` not 0. Opens what exists and never creates. */
pss_service_t pss_open(const char* url, syserr_t* status);

/* Closes the store and ends the handle, whatever it returns. What was stored and deleted since pss_open is durable
 * when it returns 0. */
syserr_t pss_close(pss_service_t table);

/* Places the cursor on `key` (status 0) or, when that key is not stored, on the next key in order (status
 * SYSERR_PSS_NOKEY). Returns the key under the cursor, or null when no record lies at or behind the place. */
pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status);

/* Moves the cursor to `location` and returns the key under it with status 0, or null with status SYSERR_PSS_NOKEY when
 * no record lies there; the cursor is then off the store, but for PSS_CURRENT_KEY, which keeps the place of a record
 * that was deleted. */
pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status);

/* Returns the value of the record under the cursor with status 0, or null with a status that says why not. */
const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status);

/* Stores `value` under `key`. `mode` is PSS_NEW_ONLY or PSS_REPLACE. */
syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value);

/* Removes the record under `key`; SYSERR_PSS_NOKEY when there is none. */
syserr_t pss_delete(pss_service_t table, const pss_datum_t* key);

/* Writes the store's records as they stand at this moment, changes that are not durable yet included, to the location
 * named by `url`. The store stays open and its cursor stays where it is. `flags` is 0 in every call of the conversion
 * library; other values are the platform's own. What becomes of an earlier snapshot there is the platform's to say: it
 * may hold the only copy of the records, because a second upgrade snapshots a store that is empty but for other kinds.
 */
syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url);

#ifdef __cplusplus
}
#endif

#endif
