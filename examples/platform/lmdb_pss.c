/* A second example platform for libconvertvrrp, over LMDB. An open store is a write transaction that is never
 * committed: its changes stay in memory. pss_close and pss_snapshot copy the records to a new LMDB file with a checksum
 * at its end and rename it. Without the checksum LMDB would return wrong records of a damaged file, or crash.
 * "nonvolatile:/a/b" is the file /a/b in the directory LMDB_PSS_ROOT. flock locks it: there is no lock file. To create
 * an empty store: compile with -DCREATE and run with the URL. Its own limits, not the contract's: one open store, keys
 * of at most 511 bytes (the default of LMDB), values of at most 1 MiB, 256 MiB of records and changed pages, twice that
 * as address space, a store file of the same byte order and word size. Link with -llmdb. */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <libconvertvrrp.h>
#include <lmdb.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#define STATUS_BASE (SYSERR_PSS_NOKEY - (syserr_t)MDB_NOTFOUND) /* plus an error of LMDB or errno */
/* MAP_SIZE is below 131,072 pages: with more changed pages LMDB would write to the file before a commit. */
enum { KEY_MAX = 511, VALUE_MAX = 1 << 20, PATH_SIZE = 512, MAP_SIZE = 256 << 20 };

static struct {
  int lock, is_changed, failure; /* descriptor of the file; error of a failed change */
  char path[PATH_SIZE];
  MDB_env* env;
  MDB_txn* txn; /* null: no store is open */
  MDB_dbi dbi;  /* the main database, which has the same handle in every file */
  uint8 cursor_bytes[KEY_MAX];
  pss_datum_t cursor, value, failed; /* the cursor is a key, stored or not; size 0: off the store */
} s;

static int is_open(pss_service_t table) { return table == 1 && s.txn != NULL; }
static syserr_t status_of(int error) { return error == 0 ? 0 : STATUS_BASE + (syserr_t)error; }
static MDB_val val(const pss_datum_t* datum) { return (MDB_val){datum->siz, datum->ptr}; }
const char* syserr2str(syserr_t status) { return mdb_strerror(status == 0 ? 0 : (int)(status - STATUS_BASE)); }
uint32 hton_if_index(if_index_t ifindex) { return htonl(ifindex); }

static int path_of(const char* url, char path[PATH_SIZE]) {
  const char *scheme = "nonvolatile:/", *root = getenv("LMDB_PSS_ROOT");
  if (strncmp(url, scheme, strlen(scheme)) != 0) return 0;
  return snprintf(path, PATH_SIZE, "%s/%s", root != NULL ? root : "", url + strlen(scheme)) < PATH_SIZE;
}

/* Adds the checksum (FNV-1a) and syncs the file (MDB_NOSYNC), or verifies it. EBUSY: another session replaced it. */
static int seal(const char* path, int fd, int is_new) {
  static uint8 bytes[1 << 16];
  uint64_t sum = 14695981039346656037u, stored;
  struct stat file, named;
  if (fstat(fd, &file) != 0 || stat(path, &named) != 0 || file.st_ino != named.st_ino) return EBUSY;
  const off_t end = is_new ? file.st_size : file.st_size - (off_t)sizeof sum;
  for (off_t at = 0, got; at < end; at += got) {
    if ((got = pread(fd, bytes, sizeof bytes, at)) <= 0) return EIO;
    for (off_t i = 0; i < got && at + i < end; ++i) sum = (sum ^ bytes[i]) * 1099511628211u;
  }
  if (is_new) return pwrite(fd, &sum, sizeof sum, end) == sizeof sum && fsync(fd) == 0 ? 0 : EIO;
  return end > 0 && pread(fd, &stored, sizeof sum, end) == sizeof sum && stored == sum ? 0 : MDB_INVALID;
}

static int begin(const char* path, MDB_env** env, MDB_txn** txn) {
  int fd, error = mdb_env_create(env);
  if (error == 0) error = mdb_env_set_mapsize(*env, MAP_SIZE);
  if (error == 0) error = mdb_env_open(*env, path, MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC, 0600);
  if (error == 0 && (error = mdb_env_get_fd(*env, &fd)) == 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) error = errno;
  if (error == 0) error = mdb_txn_begin(*env, NULL, 0, txn);
  return error == 0 ? mdb_dbi_open(*txn, NULL, 0, &s.dbi) : error;
}

/* Writes all records to a new file of mode 0600, because records contain secrets, and renames it, atomically and
 * durably. Keeps an earlier snapshot as NAME.1, NAME.2 ..., because it may be the only copy of its records. */
static syserr_t save(const char* path, int is_earlier_kept) {
  char name[530];
  MDB_env* env = NULL;
  MDB_txn* txn = NULL;
  MDB_cursor* cursor;
  MDB_val key, value;
  for (int number = 1; is_earlier_kept; ++number) {
    snprintf(name, sizeof name, "%s.%d", path, number);
    if (link(path, name) == 0 || errno == ENOENT) break;
    if (errno != EEXIST) return status_of(errno);
  }
  snprintf(name, sizeof name, "%s.new", path), unlink(name);
  int fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  int error = fd >= 0 ? begin(name, &env, &txn) : errno;
  if (error == 0 && s.txn != NULL && (error = mdb_cursor_open(s.txn, s.dbi, &cursor)) == 0) {
    while (error == 0 && (error = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0)
      error = mdb_put(txn, s.dbi, &key, &value, MDB_APPEND);
    mdb_cursor_close(cursor);
  }
  error = error == 0 || error == MDB_NOTFOUND ? mdb_txn_commit(txn) : (mdb_txn_abort(txn), error);
  mdb_env_close(env);
  if (error == 0 && (error = seal(name, fd, 1)) == 0 && rename(name, path) != 0) error = errno;
  close(fd);
  if (error != 0) return unlink(name), status_of(error);
  strrchr(name, '/')[1] = '\0';
  if ((fd = open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) < 0 || fsync(fd) != 0) error = EIO;
  return close(fd), status_of(error);
}

static void end(void) {
  mdb_txn_abort(s.txn), mdb_env_close(s.env);
  flock(s.lock, LOCK_UN), close(s.lock); /* LOCK_UN: a child that another thread forked still has the descriptor */
  memset(&s, 0, sizeof s);
}

pss_service_t pss_open(const char* url, syserr_t* status) {
  if (s.txn != NULL || !path_of(url, s.path)) return *status = status_of(s.txn ? EBUSY : EINVAL), 0;
  if ((s.lock = open(s.path, O_RDWR | O_CLOEXEC)) < 0) return *status = status_of(errno), 0;
  int error = flock(s.lock, LOCK_EX | LOCK_NB) != 0 ? EBUSY : seal(s.path, s.lock, 0);
  if (error == 0) error = begin(s.path, &s.env, &s.txn);
  if ((*status = status_of(error)) != 0) return end(), 0;
  return s.cursor.ptr = s.cursor_bytes, 1;
}

/* Rolls back after a failed change. Logs a failure: after a downgrade the library neither returns nor traces it. */
syserr_t pss_close(pss_service_t table) {
  if (!is_open(table)) return status_of(EINVAL);
  const syserr_t status = s.failure == 0 && s.is_changed ? save(s.path, 0) : status_of(s.failure);
  if (status != 0)
    syslog(LOG_DAEMON | LOG_ERR, "vrrp: store %s: pss_close failed: 0x%x; %s", s.path, status,
           s.failure != 0 ? "every change was rolled back" : "it has all changes or none");
  return end(), status;
}

/* Moves from a key, stored or not, so no change since the last move makes a walk skip or repeat a record. */
static pss_datum_t* move(const pss_datum_t* from, MDB_cursor_op op, syserr_t* status) {
  MDB_cursor* cursor;
  MDB_val start = val(from), key = start, value;
  int error = mdb_cursor_open(s.txn, s.dbi, &cursor);
  if (error != 0) return *status = status_of(error), &s.failed;
  error = mdb_cursor_get(cursor, &key, &value, op == MDB_NEXT || op == MDB_PREV ? MDB_SET_RANGE : op);
  const int is_other = error == 0 && mdb_cmp(s.txn, s.dbi, &key, &start) != 0;
  if (op == MDB_PREV) error = mdb_cursor_get(cursor, &key, &value, error == 0 ? MDB_PREV : MDB_LAST);
  if (op == MDB_NEXT && error == 0 && !is_other) error = mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
  if (error == 0 && key.mv_size > KEY_MAX) error = MDB_CORRUPTED;
  if (error == 0) memmove(s.cursor_bytes, key.mv_data, key.mv_size);
  if (op != MDB_SET) s.cursor.siz = error == 0 ? (uint32)key.mv_size : 0;
  mdb_cursor_close(cursor);
  *status = op == MDB_SET_RANGE && is_other ? SYSERR_PSS_NOKEY : status_of(error);
  return error == 0 ? &s.cursor : error == MDB_NOTFOUND ? NULL : &s.failed;
}

pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status) {
  return is_open(table) && key->siz > 0 ? move(key, MDB_SET_RANGE, status) : (*status = status_of(EINVAL), &s.failed);
}

pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status) {
  static const MDB_cursor_op ops[] = {MDB_SET, MDB_FIRST, MDB_LAST, MDB_NEXT, MDB_PREV, MDB_SET};
  if (!is_open(table) || (uint32)location > PSS_CURRENT_KEY) return *status = status_of(EINVAL), &s.failed;
  if (location == PSS_NULL_KEY || (location > PSS_LAST_KEY && s.cursor.siz == 0))
    return s.cursor.siz = 0, *status = SYSERR_PSS_NOKEY, NULL;
  return move(&s.cursor, ops[location], status);
}

const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status) {
  MDB_val key = val(&s.cursor), value;
  const int error = !is_open(table) ? EINVAL : key.mv_size == 0 ? MDB_NOTFOUND : mdb_get(s.txn, s.dbi, &key, &value);
  if ((*status = status_of(error)) != 0) return NULL;
  return s.value = (pss_datum_t){value.mv_data, (uint32)value.mv_size}, &s.value;
}

/* Nested transaction: after a failed change the others stay, and no page to which an argument points changes. */
static syserr_t change(pss_service_t table, const pss_datum_t* key, const pss_datum_t* new_value, unsigned flags) {
  MDB_txn* step;
  if (!is_open(table) || key->siz == 0) return status_of(EINVAL);
  MDB_val at = val(key), value = val(new_value != NULL ? new_value : key);
  int error = mdb_txn_begin(s.env, s.txn, 0, &step);
  if (error != 0) return status_of(s.failure = error);
  error = new_value != NULL ? mdb_put(step, s.dbi, &at, &value, flags) : mdb_del(step, s.dbi, &at, NULL);
  error = error == 0 ? mdb_txn_commit(step) : (mdb_txn_abort(step), error);
  if (error != 0 && error != MDB_NOTFOUND && error != MDB_KEYEXIST && error != MDB_BAD_VALSIZE) s.failure = error;
  return s.is_changed |= error == 0, status_of(error);
}

syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  if (mode > PSS_REPLACE || key->siz > KEY_MAX || value->siz > VALUE_MAX) return status_of(EINVAL);
  return change(table, key, value, mode == PSS_NEW_ONLY ? MDB_NOOVERWRITE : 0);
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) { return change(table, key, NULL, 0); }

syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  char path[PATH_SIZE];
  return is_open(table) && flags == 0 && path_of(url, path) ? save(path, 1) : status_of(EINVAL);
}

const char* srg_sw_ver_file_get(const char* path) {
  static char text[512]; /* a file that does not fit is refused: truncated, it could name another release */
  const int fd = path != NULL ? open(path, O_RDONLY | O_CLOEXEC) : -1;
  const ssize_t size = fd >= 0 ? read(fd, text, sizeof text) : -1;
  if (fd >= 0) close(fd);
  return size >= 0 && size < (ssize_t)sizeof text ? text[size] = '\0', text : NULL;
}

#ifdef CREATE
int main(int argc, char** argv) { return argc != 2 || !path_of(argv[1], s.path) || save(s.path, 1) != 0; }
#endif
