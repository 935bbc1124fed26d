/* Declarations of the embedded platform beyond platform/pss.h: its statuses and limits, the creation of stores, working
 * copies in memory, and a close that rolls back.
 *
 * A store is one SQLite file. The URL is "nonvolatile:" and a path relative to the directory in the environment
 * variable PSS_NONVOLATILE_ROOT, "/" if it is not set. pss_open reads the whole file into memory, and all operations
 * work there. pss_close never writes to the file: it writes a new file and renames it to the path.
 *
 * Guarantees
 *  1. From pss_open to pss_close or pss_embedded_discard the store file is locked exclusively (5: exception). No other
 * process that respects SQLite's locks reads or changes it. pss_open waits up to 5 seconds in all for other processes
 * (locks, leases, a file that is replaced meanwhile), then returns SYSERR_PSS_BUSY. It opens the file that has the path
 *     when the lock is granted. The lock protects the file, not its path: if another process has renamed another file
 *     to the path, pss_close returns SYSERR_PSS_BUSY and changes nothing.
 *  2. pss_close is atomic. After status 0 all changes are durable. After another status the store is unchanged, except
 *     that after SYSERR_PSS_IO it contains all changes or none. If the process ends before pss_close, the store is
 *     unchanged.
 *  3. pss_open verifies every record. It returns SYSERR_PSS_DAMAGED if a record is missing, added, or not byte for byte
 *     as it was stored. Each record is verified again each time it is read. If the disk cannot be read, pss_open
 *     returns SYSERR_PSS_IO.
 *  4. After a failure of SQLite, damage or a lack of memory, every later operation on the handle returns the same
 *     status, and pss_close rolls back. SYSERR_PSS_NOKEY, SYSERR_PSS_EXISTS, refused arguments, and a snapshot file
 *     that cannot be written are not such failures.
 *  5. pss_open opens a store for reading if this user may not write the file or its directory, if a new file of this
 *     user cannot get the same owner and group, or if the file is a mount point. Then pss_store and pss_delete return
 *     SYSERR_PSS_READ_ONLY. The lock is shared, and held only while pss_open reads.
 *  6. pss_close keeps the owner, group and permissions of the file. pss_snapshot and pss_embedded_create write files of
 *     mode 0600. All three write a file .pss-PID-NUMBER in the same directory, sync it, rename it to the path, and sync
 *     the directory. The path always names a complete file (7: exception). A killed process may leave a file
 *     .pss-PID-NUMBER, which contains a part of a store or a replaced store, and a copy of the new store under a name
 *     NAME.N. After SYSERR_PSS_IO from pss_snapshot the complete new file may be in place. A symbolic link at the path
 *     is never followed.
 *  7. pss_snapshot never removes an earlier snapshot with other records. If the path exists and is not an intact store
 *     with the same records, it is renamed to the first free name NAME.1, NAME.2, ..., with its sidecar files
 *     (-journal, -wal, -shm). That applies to directories too. If there are sidecar files, the path is free for a
 *     moment, and a killed process may leave the store and its sidecar files under different ones of both names.
 *  8. Whatever a store or its name contains, the platform opens and changes no other file than 6 and 7 name. If
 *     a journal or write-ahead log of the store is not empty, it is the unfinished change of another program, and
 *     pss_open returns SYSERR_PSS_UNTRUSTED. Open the store with the sqlite3 shell, which finishes the change, or
 *     remove the file if it does not belong to the store.
 *  9. The contents of a file bound the time and memory of every operation: for any file, pss_open and pss_snapshot take
 *     at most one second more than for an intact store of its size on disk, and 16 MiB more memory. A file with more
 *     than 16 MiB of holes is SYSERR_PSS_DAMAGED: copy it with cp --sparse=never. pss_snapshot does not read an
 *     existing file of more than twice the size of the new one and 1 MiB; it renames that file.
 * 10. One thread at a time calls the operations. Only the process that opened a handle uses it; a forked child may use
 *     a working copy, which is then a copy of its own. The platform changes no process-wide setting of SQLite.
 * 11. A pss_close that fails writes one line to the system log (syslog: LOG_DAEMON, LOG_ERR) with the store, the status
 *     and whether every change was rolled back, because the library does not trace the close after a downgrade. The
 *     platform logs and prints nothing else.
 *
 * A file that replaces a store is another inode. So other hard links keep the old content, and access control lists and
 * security labels are those of new files in the directory. A file system without RENAME_NOREPLACE and RENAME_EXCHANGE
 * (NFS) needs hard links. On such a file system a file may have two names for a moment, the path of a renamed file is
 * free for a moment, and a file that another process creates there at that moment can be lost.
 *
 * Every user who can write to a directory of the path is trusted: directories may be symbolic links. */
#ifndef PLATFORM_EMBEDDED_PSS_EMBEDDED_H
#define PLATFORM_EMBEDDED_PSS_EMBEDDED_H

#include "platform/pss.h"
#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses in addition to SYSERR_PSS_NOKEY; syserr2str returns their texts. */
#define SYSERR_PSS_NO_STORE ((syserr_t)0x40488001u)     /* no such store or directory */
#define SYSERR_PSS_NOT_A_STORE ((syserr_t)0x40488002u)  /* not a store of this format */
#define SYSERR_PSS_DAMAGED ((syserr_t)0x40488003u)      /* its records or tables are not as stored */
#define SYSERR_PSS_BUSY ((syserr_t)0x40488004u)         /* another process or handle has it open */
#define SYSERR_PSS_READ_ONLY ((syserr_t)0x40488005u)    /* the file or its directory is not writable */
#define SYSERR_PSS_NO_SPACE ((syserr_t)0x40488006u)     /* disk or quota full, or file size limit */
#define SYSERR_PSS_BAD_HANDLE ((syserr_t)0x40488007u)   /* unknown or closed handle */
#define SYSERR_PSS_BAD_URL ((syserr_t)0x40488008u)      /* not a valid store URL */
#define SYSERR_PSS_BAD_ARGUMENT ((syserr_t)0x40488009u) /* a key, value, mode, flag or location out of range */
#define SYSERR_PSS_NO_MEMORY ((syserr_t)0x4048800Au)    /* no memory, or no free handle */
#define SYSERR_PSS_IO ((syserr_t)0x4048800Bu)           /* I/O error */
#define SYSERR_PSS_EXISTS ((syserr_t)0x4048800Cu)       /* the store exists, or the key with PSS_NEW_ONLY */
#define SYSERR_PSS_UNTRUSTED ((syserr_t)0x4048800Du)    /* a journal or write-ahead log is not empty */
#define SYSERR_PSS_NO_FILES ((syserr_t)0x4048800Eu)     /* too many open files */
#define SYSERR_PSS_TOO_LARGE ((syserr_t)0x4048800Fu)    /* more than PSS_EMBEDDED_STORE_MAX */

/* Largest sizes in bytes. Keys have at least 1 byte, values 0 or more. */
enum { PSS_EMBEDDED_KEY_MAX = 1024, PSS_EMBEDDED_VALUE_MAX = 1024 * 1024 };

/* Size in bytes of the largest store. A process needs as much memory as its store, and up to three times as much while
 * it grows: 32-bit processes get SYSERR_PSS_NO_MEMORY earlier. */
enum { PSS_EMBEDDED_STORE_MAX = 1024 * 1024 * 1024 };

/* Largest number of open handles. */
enum { PSS_EMBEDDED_HANDLES_MAX = 16 };

/* Flags of pss_snapshot, in addition to 0. */
enum {
  PSS_EMBEDDED_REPLACE = 1,  /* remove an existing file; rename a directory, or a file with its sidecar files */
  PSS_EMBEDDED_NEW_ONLY = 2, /* return SYSERR_PSS_EXISTS if the file or a sidecar file exists */
  PSS_EMBEDDED_INHERIT = 4   /* keep the owner, group and permissions of the regular file that is replaced */
};

/* Prefix of the name of a file that is being written. */
#define PSS_EMBEDDED_NEW_FILE_PREFIX ".pss-"

/* The first 16 bytes of every store, with the terminating zero, and the suffixes of sidecar files. */
#define PSS_EMBEDDED_MAGIC "SQLite format 3"
#define PSS_EMBEDDED_SIDECARS {"-journal", "-wal", "-shm"}

/* Returns the N of the name NAME.N to which the last pss_snapshot of this process renamed an existing file, or 0. */
uint32 pss_embedded_kept(void);

/* Creates an empty store at `url`. Returns 0, or SYSERR_PSS_EXISTS if the path exists. */
syserr_t pss_embedded_create(const char* url);

/* Opens a working copy of the store at `url` in memory. Waits up to `wait_ms` milliseconds for other processes, and
 * locks the store only while it reads. All operations, changes too, work on the copy, and pss_close drops it. Returns
 * its handle and sets `*status` to 0, or returns 0 as pss_open does. */
pss_service_t pss_embedded_open_copy(const char* url, uint32 wait_ms, syserr_t* status);

/* Opens a working copy of the image that pss_embedded_write_image wrote to the start of the open file `fd`, or of an
 * empty store if `fd` is -1. Neither locks nor closes the file. Returns its handle and sets `*status` to 0, or returns
 * 0 as pss_open does. No other program may be able to write to the file, because each record is verified when it is
 * read, but not the image as a whole. */
pss_service_t pss_embedded_open_descriptor(int fd, syserr_t* status);

/* Digest of all records of a store, two numbers of 8 bytes in host byte order: the number of records, and the sum of
 * their checksums (XXH3_64bits_withSeed(value, XXH3_64bits(key))) modulo 2^64. It detects accidents, not attacks:
 * anybody can make another store with the same digest. */
typedef struct {
  uint64_t records;
  uint64_t checksum;
} pss_embedded_digest_t;

/* Computes the digest of the store's records, changes included. Reads the records only after a change. Returns 0, or
 * the status of the failure. */
syserr_t pss_embedded_digest(pss_service_t table, pss_embedded_digest_t* digest);

/* Writes the store's image, changes included, to the file `fd` at its offset, for pss_embedded_open_descriptor. Returns
 * 0, or the status of the failure. */
syserr_t pss_embedded_write_image(pss_service_t table, int fd);

/* Closes the handle and rolls back its changes. Snapshots are not removed. Returns 0, or SYSERR_PSS_BAD_HANDLE. */
syserr_t pss_embedded_discard(pss_service_t table);

#ifdef __cplusplus
}
#endif

#endif
