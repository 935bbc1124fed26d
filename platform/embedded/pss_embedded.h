/* What the embedded platform offers beyond the platform declarations: statuses of its own, limits, the creation of
 * stores, and an end of their use that keeps nothing.
 *
 * A store is one SQLite file. "nonvolatile:" and a path name the file at that path below the directory in the
 * environment variable PSS_NONVOLATILE_ROOT, "/" when it is not set.
 *
 * Guarantees
 *  1. From pss_open to pss_close or pss_embedded_discard there is one transaction under an exclusive lock: no other
 *     process reads or changes the store meanwhile. pss_open waits up to 5 seconds for the lock, and answers
 *     SYSERR_PSS_BUSY when it did not get it. The lock does not protect the file name: snapshot onto an open store only
 *     to replace it, through the process that has it open; who waits for it then gets the new one.
 *  2. A process that dies before pss_close leaves the store as it was. pss_close makes all changes durable at once;
 *     when it fails, the store is wholly old or wholly new.
 *  3. pss_open reads every record and answers SYSERR_PSS_DAMAGED for a store that lost one, gained one, or holds one
 *     that is not byte for byte what was stored. Each record is checked again whenever it is read.
 *  4. A handle that met damage, an I/O error, a full disk or a lack of memory in its own store answers every later
 *     operation with that status, and its pss_close keeps nothing: a store is never left with part of its changes.
 *  5. A store that cannot be written, or whose directory cannot be, is opened for reading, with a shared lock; storing
 *     and deleting then answer SYSERR_PSS_READ_ONLY.
 *  6. pss_snapshot and pss_embedded_create rename a file into place atomically, with mode 0600; after SYSERR_PSS_IO it
 *     may be in place, whole. A symbolic link at that place is never followed. They work in a directory of mode 0700
 *     named .pss-PID-XXXXXX beside the place, which a killed process leaves.
 *  7. pss_snapshot never destroys an earlier snapshot of other content. Whatever stands at the location and is not an
 *     intact store with the same records keeps its content under the first free name NAME.1, NAME.2, ..., sidecar files
 *     included; that name is durable before the new snapshot takes the place. With PSS_EMBEDDED_REPLACE as its flags,
 *     pss_snapshot replaces what stands there.
 *  8. All operations are called by one thread at a time, and a handle is used by the process that opened it, not by a
 *     child of it. Nothing process-wide of SQLite is configured.
 *
 * Whoever can write a directory on the way to a store is trusted: directories may be symbolic links. Opening fails
 * with SYSERR_PSS_UNTRUSTED if a sidecar file belongs to another user. */
#ifndef PLATFORM_EMBEDDED_PSS_EMBEDDED_H
#define PLATFORM_EMBEDDED_PSS_EMBEDDED_H

#include "platform/pss.h"
#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses beside SYSERR_PSS_NOKEY; syserr2str has their texts. */
#define SYSERR_PSS_NO_STORE ((syserr_t)0x40488001u)     /* nothing there, or no such directory */
#define SYSERR_PSS_NOT_A_STORE ((syserr_t)0x40488002u)  /* something else than a store of this format */
#define SYSERR_PSS_DAMAGED ((syserr_t)0x40488003u)      /* not what was stored, or it cannot be read */
#define SYSERR_PSS_BUSY ((syserr_t)0x40488004u)         /* another process or handle holds it */
#define SYSERR_PSS_READ_ONLY ((syserr_t)0x40488005u)    /* the file or its directory cannot be written */
#define SYSERR_PSS_NO_SPACE ((syserr_t)0x40488006u)     /* disk or quota full */
#define SYSERR_PSS_BAD_HANDLE ((syserr_t)0x40488007u)   /* never given out, or its use ended */
#define SYSERR_PSS_BAD_URL ((syserr_t)0x40488008u)      /* names no place where a store can be */
#define SYSERR_PSS_BAD_ARGUMENT ((syserr_t)0x40488009u) /* a key, value, mode or location out of range */
#define SYSERR_PSS_NO_MEMORY ((syserr_t)0x4048800Au)    /* no memory, or no handle left */
#define SYSERR_PSS_IO ((syserr_t)0x4048800Bu)           /* the device failed */
#define SYSERR_PSS_EXISTS ((syserr_t)0x4048800Cu)       /* store, or key stored with PSS_NEW_ONLY */
#define SYSERR_PSS_UNTRUSTED ((syserr_t)0x4048800Du)    /* a journal beside the store is another user's, or no file */
#define SYSERR_PSS_NO_FILES ((syserr_t)0x4048800Eu)     /* too many open files */

/* Sizes in bytes of what can be stored: keys of 1 byte or more, values of 0 bytes or more. */
enum { PSS_EMBEDDED_KEY_MAX = 1024, PSS_EMBEDDED_VALUE_MAX = 1024 * 1024 };

/* Handles that can be open at a time. */
enum { PSS_EMBEDDED_HANDLES_MAX = 16 };

/* Flags of pss_snapshot beside 0. */
enum { PSS_EMBEDDED_REPLACE = 1 };

/* Creates an empty store at `url`. Returns 0, or SYSERR_PSS_EXISTS when anything is there already. */
syserr_t pss_embedded_create(const char* url);

/* Ends the use of a handle like pss_close, but undoes every change that was made through it; snapshots stay. Returns 0,
 * or SYSERR_PSS_BAD_HANDLE. */
syserr_t pss_embedded_discard(pss_service_t table);

#ifdef __cplusplus
}
#endif

#endif
