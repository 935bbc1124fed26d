/* Additions of the embedded platform to the platform declarations: its statuses and limits, the creation of stores,
 * working copies in memory, and a close that rolls back.
 *
 * A store is one SQLite file. "nonvolatile:" and a path name the file at that path below the directory in the
 * environment variable PSS_NONVOLATILE_ROOT, "/" when it is not set. Opening reads the whole file into memory, and all
 * operations work there. The file is never written: pss_close writes a new one, which then takes its name.
 *
 * Guarantees
 *  1. From pss_open to pss_close or pss_embedded_discard the store's file is locked exclusively: no other process that
 *     respects SQLite's locks reads or changes it. pss_open waits up to 5 seconds in all for other processes (locks,
 *     leases, a file that is replaced meanwhile), then returns SYSERR_PSS_BUSY. The store that it returns is the one
 *     that has the name at that moment. The lock protects the file, not its name: if another process renames another
 *     file to the path, pss_close returns SYSERR_PSS_BUSY and changes nothing.
 *  2. A process that ends before pss_close leaves the store as it was. pss_close makes all changes durable atomically;
 *     if it fails, the store is as it was, or after SYSERR_PSS_IO possibly changed as a whole.
 *  3. pss_open reads every record and returns SYSERR_PSS_DAMAGED for a store that lost one, gained one, or holds one
 *     that is not byte for byte what was stored. Each record is checked again whenever it is read. A device that cannot
 *     be read is SYSERR_PSS_IO.
 *  4. After any failure of SQLite, damage or a lack of memory among them, a handle returns that status from every later
 *     operation, and its pss_close keeps nothing. SYSERR_PSS_NOKEY, SYSERR_PSS_EXISTS, refused arguments and a snapshot
 *     whose file cannot be written are no such failures.
 *  5. A store is opened for reading, and storing and deleting return SYSERR_PSS_READ_ONLY, if the user may not write it
 *     or its directory, if a new file of this user could not get its owner and group, or if the file is a mount point.
 *     The lock is shared then, and lasts only while pss_open reads.
 *  6. pss_close keeps the file's owner, group and permissions; pss_snapshot and pss_embedded_create write files of mode
 *     0600. Each writes a file named .pss-PID-NUMBER in the same directory, syncs it, gives it the name, and syncs the
 *     directory. At every moment the name is whole. A killed process may leave a file .pss-PID-NUMBER, which holds a
 *     part of a store or a replaced one, and a copy of the new store under a name NAME.N. After SYSERR_PSS_IO from
 *     pss_snapshot the new file may be in place, whole. Symbolic links under the name are never followed.
 *  7. pss_snapshot never destroys an earlier snapshot of other content. Whatever has the name and is not an intact
 *     store with the same records, directories included, is kept under the first free name NAME.1, NAME.2, ..., with
 *     its sidecar files (-journal, -wal, -shm). If there are such files, the name is free for a moment, and a killed
 *     process may leave them and their store under different ones of both names.
 *  8. No file but the store's own and the new one is opened, and none is changed, because of what a store or its name
 *     holds. A journal or write-ahead log beside a store that is not empty is another program's unfinished change:
 *     opening returns SYSERR_PSS_UNTRUSTED. Open the store with the sqlite3 shell, which finishes the change, or remove
 *     the file if it does not belong to the store.
 *  9. All operations are called by one thread at a time. A handle is used by the process that opened it; a copy in
 *     memory may be used by a forked child too, as a copy of its own. Nothing process-wide of SQLite is configured.
 *
 * A file that takes a store's name is a new one. So other hard links keep the old content, and access control lists and
 * security labels become those that new files in the directory get. A file system without RENAME_NOREPLACE and
 * RENAME_EXCHANGE (NFS) needs hard links. On it a file may have two names for a moment, the name of what is kept
 * is free for a moment, and a file that another process puts there just then can be lost.
 *
 * Whoever can write a directory on the way to a store is trusted: directories may be symbolic links. */
#ifndef PLATFORM_EMBEDDED_PSS_EMBEDDED_H
#define PLATFORM_EMBEDDED_PSS_EMBEDDED_H

#include "platform/pss.h"
#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses beside SYSERR_PSS_NOKEY; syserr2str has their texts. */
#define SYSERR_PSS_NO_STORE ((syserr_t)0x40488001u)     /* no such store or directory */
#define SYSERR_PSS_NOT_A_STORE ((syserr_t)0x40488002u)  /* not a store of this format */
#define SYSERR_PSS_DAMAGED ((syserr_t)0x40488003u)      /* the records are not those that were stored */
#define SYSERR_PSS_BUSY ((syserr_t)0x40488004u)         /* another process or handle holds it */
#define SYSERR_PSS_READ_ONLY ((syserr_t)0x40488005u)    /* the file or its directory cannot be written */
#define SYSERR_PSS_NO_SPACE ((syserr_t)0x40488006u)     /* disk or quota full, or a limit of the file size */
#define SYSERR_PSS_BAD_HANDLE ((syserr_t)0x40488007u)   /* unknown or closed handle */
#define SYSERR_PSS_BAD_URL ((syserr_t)0x40488008u)      /* not a valid store URL */
#define SYSERR_PSS_BAD_ARGUMENT ((syserr_t)0x40488009u) /* a key, value, mode, flag or location out of range */
#define SYSERR_PSS_NO_MEMORY ((syserr_t)0x4048800Au)    /* no memory, or no handle left */
#define SYSERR_PSS_IO ((syserr_t)0x4048800Bu)           /* I/O error */
#define SYSERR_PSS_EXISTS ((syserr_t)0x4048800Cu)       /* store, or key stored with PSS_NEW_ONLY */
#define SYSERR_PSS_UNTRUSTED ((syserr_t)0x4048800Du)    /* another program's unfinished change beside the store */
#define SYSERR_PSS_NO_FILES ((syserr_t)0x4048800Eu)     /* too many open files */
#define SYSERR_PSS_TOO_LARGE ((syserr_t)0x4048800Fu)    /* more than PSS_EMBEDDED_STORE_MAX */

/* Sizes in bytes of what can be stored: keys of 1 byte or more, values of 0 bytes or more. */
enum { PSS_EMBEDDED_KEY_MAX = 1024, PSS_EMBEDDED_VALUE_MAX = 1024 * 1024 };

/* Bytes of the largest store. A process needs as much memory as its store has bytes, and up to three times as much
 * while it grows: 32-bit processes get SYSERR_PSS_NO_MEMORY earlier. */
enum { PSS_EMBEDDED_STORE_MAX = 1024 * 1024 * 1024 };

/* Handles that can be open at a time. */
enum { PSS_EMBEDDED_HANDLES_MAX = 16 };

/* Flags of pss_snapshot, beside 0. */
enum {
  PSS_EMBEDDED_REPLACE = 1,  /* an existing file is lost, but for a directory and sidecar files, which are kept */
  PSS_EMBEDDED_NEW_ONLY = 2, /* an existing file or sidecar file is refused with SYSERR_PSS_EXISTS */
  PSS_EMBEDDED_INHERIT = 4   /* the file gets the owner, group and permissions of a regular file that it replaces */
};

/* The start of the name of a file that is being written. */
#define PSS_EMBEDDED_NEW_FILE_PREFIX ".pss-"

/* The N of the name NAME.N under which the last pss_snapshot of this process kept what had the name; 0 for none. */
uint32 pss_embedded_kept(void);

/* Creates an empty store at `url`. Returns 0, or SYSERR_PSS_EXISTS if the path exists. */
syserr_t pss_embedded_create(const char* url);

/* Opens a copy in memory of the store at `url`, after waiting up to `wait_ms` milliseconds for other processes; it
 * keeps them out only while it reads. All operations work on a copy, also changes; pss_close keeps nothing of it.
 * Returns its handle with `*status` 0, or 0 as pss_open does. */
pss_service_t pss_embedded_open_copy(const char* url, uint32 wait_ms, syserr_t* status);

/* The same from the image that pss_embedded_write_image wrote to the start of the open file `fd`, which stays open and
 * is not locked; -1 stands for an empty store. The file must be one that no other program can write: each record is
 * checked when it is read, but the image is not checked as a whole. */
pss_service_t pss_embedded_open_descriptor(int fd, syserr_t* status);

/* All records of a store in two numbers of 8 bytes each, in host byte order: how many there are, and the sum of their
 * checksums (XXH3_64bits_withSeed(value, XXH3_64bits(key))) modulo 2^64. */
typedef struct {
  uint64_t records;
  uint64_t checksum;
} pss_embedded_digest_t;

/* Gets the digest of the store's records, changes included. Only after a change are the records read for it. */
syserr_t pss_embedded_digest(pss_service_t table, pss_embedded_digest_t* digest);

/* Writes the store's image, changes included, to the file `fd` at its offset. It can be opened with
 * pss_embedded_open_descriptor. */
syserr_t pss_embedded_write_image(pss_service_t table, int fd);

/* Closes the handle and rolls back its changes. Snapshots are not removed. Returns 0, or SYSERR_PSS_BAD_HANDLE. */
syserr_t pss_embedded_discard(pss_service_t table);

#ifdef __cplusplus
}
#endif

#endif
