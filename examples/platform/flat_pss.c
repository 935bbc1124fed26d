/* An example platform for libconvertvrrp in one file. An open store is held in memory. Its file contains MAGIC, then
 * for every record, in key order: the sizes of key and value (4 bytes each, host byte order), the key, the value.
 * "nonvolatile:/a/b" is the file /a/b in the directory FLAT_PSS_ROOT. To create an empty store: printf 'flat pss 1\n'
 * >FILE. Its own limits, not the contract's: one open store, the whole store in memory, keys and values of at most 1
 * MiB, a store file of the same byte order. */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <libconvertvrrp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#define MAGIC "flat pss 1\n"
#define DATA_MAX (1u << 20)
enum { NO_STORE = 0x101, BUSY, IO_ERROR, BAD_ARGUMENT, STORED_ALREADY, NO_MEMORY };

typedef struct {
  pss_datum_t key, value;
} record_t;

static struct {
  int is_open, is_changed, is_partly_changed;
  int lock; /* descriptor of the file */
  char path[512];
  record_t* records;
  uint32 count, cursor; /* the cursor is off the store if it is not below `count` */
  int is_before_cursor; /* the record was deleted: the cursor is at the key `deleted`, before the record `cursor` */
  pss_datum_t deleted;
} s;

static int is_open(pss_service_t table) { return table == 1 && s.is_open; }

static int compare(const pss_datum_t* a, const pss_datum_t* b) {
  int order = memcmp(a->ptr, b->ptr, a->siz < b->siz ? a->siz : b->siz);
  return order != 0 ? order : (a->siz > b->siz) - (a->siz < b->siz);
}

/* Returns the index of the first record whose key is not less than `key`. */
static uint32 lower_bound(const pss_datum_t* key) {
  uint32 low = 0, high = s.count;
  while (low < high) {
    uint32 middle = low + (high - low) / 2;
    if (compare(&s.records[middle].key, key) < 0)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

static int is_stored(uint32 at, const pss_datum_t* key) {
  return at < s.count && compare(&s.records[at].key, key) == 0;
}

static int copy(pss_datum_t* to, const pss_datum_t* from) {
  *to = (pss_datum_t){malloc(from->siz + 1u), from->siz};
  if (to->ptr != NULL && from->siz > 0) memcpy(to->ptr, from->ptr, from->siz);
  return to->ptr != NULL;
}

/* Copies the arguments first, because they may point into the records. */
static syserr_t insert(uint32 at, const pss_datum_t* key, const pss_datum_t* value) {
  record_t new_record = {{NULL, 0}, {NULL, 0}}, *records = NULL;
  if (copy(&new_record.key, key) && copy(&new_record.value, value))
    records = realloc(s.records, (s.count + 1u) * sizeof *records);
  if (records == NULL) return free(new_record.key.ptr), free(new_record.value.ptr), NO_MEMORY;
  s.records = records;
  memmove(records + at + 1, records + at, (s.count++ - at) * sizeof *records);
  records[at] = new_record;
  /* A walk neither skips nor repeats a record: NEXT finds a new record only if it follows the deleted one. */
  int order = s.is_before_cursor && at == s.cursor ? compare(&new_record.key, &s.deleted) : -1;
  if (order == 0) s.is_before_cursor = 0;
  if (order < 0 && at <= s.cursor) ++s.cursor;
  return 0;
}

/* ---- Files ---- */

static int path_of(const char* url, char* path, size_t size) {
  const char *scheme = "nonvolatile:/", *root = getenv("FLAT_PSS_ROOT");
  if (strncmp(url, scheme, strlen(scheme)) != 0) return 0;
  return snprintf(path, size, "%s/%s", root != NULL ? root : "", url + strlen(scheme)) < (int)size;
}

static syserr_t load(void) {
  char magic[sizeof MAGIC] = "", *data = malloc(2 * DATA_MAX);
  FILE* file = data != NULL ? fopen(s.path, "re") : NULL;
  syserr_t status = data == NULL ? NO_MEMORY : IO_ERROR;
  if (file != NULL && fread(magic, strlen(MAGIC), 1, file) == 1 && strcmp(magic, MAGIC) == 0) status = 0;
  uint32 sizes[2];
  size_t got;
  while (status == 0 && (got = fread(sizes, 1, sizeof sizes, file)) > 0) {
    pss_datum_t key = {data, sizes[0]}, value = {data + sizes[0], sizes[1]};
    if (got != sizeof sizes || sizes[0] > DATA_MAX || sizes[1] > DATA_MAX ||
        fread(data, sizes[0] + sizes[1], 1, file) != 1)
      status = IO_ERROR; /* a truncated file is an error, not a shorter store */
    else
      status = insert(s.count, &key, &value);
  }
  if (file != NULL && ferror(file)) status = IO_ERROR;
  s.cursor = s.count;
  if (file != NULL) fclose(file);
  return free(data), status;
}

/* Writes all records to a new file of mode 0600, because records contain secrets, and renames it, atomically and
 * durably. O_EXCL: never writes to a file that another user created. */
static syserr_t save(const char* path) {
  char new_path[520];
  snprintf(new_path, sizeof new_path, "%s.new", path);
  unlink(new_path);
  int fd = open(new_path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  FILE* file = fd >= 0 ? fdopen(fd, "w") : NULL;
  if (file == NULL) return fd >= 0 ? close(fd) : 0, IO_ERROR;
  int saved = fputs(MAGIC, file) >= 0;
  for (record_t* r = s.records; saved && r < s.records + s.count; ++r) {
    uint32 sizes[2] = {r->key.siz, r->value.siz};
    saved = fwrite(sizes, sizeof sizes, 1, file) == 1 && fwrite(r->key.ptr, r->key.siz, 1, file) == 1 &&
            fwrite(r->value.ptr, 1, r->value.siz, file) == r->value.siz;
  }
  saved = saved && fflush(file) == 0 && fsync(fileno(file)) == 0;
  saved = fclose(file) == 0 && saved && rename(new_path, path) == 0;
  if (!saved) return unlink(new_path), IO_ERROR;
  strrchr(new_path, '/')[1] = '\0';
  int directory = open(new_path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  saved = directory >= 0 && fsync(directory) == 0;
  if (directory >= 0) close(directory);
  return saved ? 0 : IO_ERROR;
}

/* ---- The operations ---- */

static void end(void) {
  for (record_t* r = s.records; r < s.records + s.count; ++r) free(r->key.ptr), free(r->value.ptr);
  free(s.records), free(s.deleted.ptr);
  if (s.lock >= 0) close(s.lock);
  memset(&s, 0, sizeof s);
}

pss_service_t pss_open(const char* url, syserr_t* status) {
  struct stat locked, named;
  if (s.is_open) return *status = BUSY, 0;
  if (!path_of(url, s.path, sizeof s.path)) return *status = BAD_ARGUMENT, 0;
  if ((s.lock = open(s.path, O_RDWR | O_CLOEXEC)) < 0) return *status = NO_STORE, 0;
  *status = flock(s.lock, LOCK_EX | LOCK_NB) != 0 ? BUSY : load();
  /* Another process may have replaced the file before the lock was granted. */
  if (*status == 0 && (fstat(s.lock, &locked) != 0 || stat(s.path, &named) != 0 || locked.st_ino != named.st_ino))
    *status = BUSY;
  if (*status != 0) return end(), 0;
  s.is_changed = 0;
  return s.is_open = 1, 1;
}

/* Writes a changed store. After a failed change it rolls back. */
syserr_t pss_close(pss_service_t table) {
  if (!is_open(table)) return BAD_ARGUMENT;
  syserr_t status = s.is_partly_changed ? NO_MEMORY : s.is_changed ? save(s.path) : 0;
  /* After a downgrade the library ignores this status and does not trace it. */
  if (status != 0)
    syslog(LOG_DAEMON | LOG_ERR, "vrrp: store %s: pss_close failed: 0x%x; %s", s.path, status,
           s.is_partly_changed ? "every change was rolled back" : "it has all changes or none");
  return end(), status;
}

static pss_datum_t* move(uint32 at, syserr_t status_there, syserr_t* status) {
  s.cursor = at < s.count ? at : s.count;
  s.is_before_cursor = 0;
  *status = at < s.count ? status_there : SYSERR_PSS_NOKEY;
  return at < s.count ? &s.records[at].key : NULL;
}

static pss_datum_t failed; /* size 0: null would mean the end of the store */

pss_datum_t* pss_move2key(pss_service_t table, const pss_datum_t* key, syserr_t* status) {
  if (!is_open(table) || key->siz == 0) return *status = BAD_ARGUMENT, &failed;
  uint32 at = lower_bound(key);
  return move(at, is_stored(at, key) ? 0 : SYSERR_PSS_NOKEY, status);
}

pss_datum_t* pss_move2location(pss_service_t table, pss_location_t location, syserr_t* status) {
  if (!is_open(table)) return *status = BAD_ARGUMENT, &failed;
  const uint32 none = s.count;
  switch (location) {
    case PSS_NULL_KEY:
      return move(none, 0, status);
    case PSS_FIRST_KEY:
      return move(0, 0, status);
    case PSS_LAST_KEY:
      return move(s.count - 1, 0, status);
    case PSS_NEXT_KEY:
      return move(s.is_before_cursor ? s.cursor : s.cursor + 1, 0, status);
    case PSS_PREVIOUS_KEY:
      return move(s.cursor < s.count || s.is_before_cursor ? s.cursor - 1 : none, 0, status);
    case PSS_CURRENT_KEY:
      break;
    default:
      return *status = BAD_ARGUMENT, &failed;
  }
  return s.is_before_cursor ? (*status = SYSERR_PSS_NOKEY, NULL) : move(s.cursor, 0, status);
}

const pss_datum_t* pss_getvalue(pss_service_t table, syserr_t* status) {
  if (!is_open(table)) return *status = BAD_ARGUMENT, NULL;
  if (s.cursor >= s.count || s.is_before_cursor) return *status = SYSERR_PSS_NOKEY, NULL;
  return *status = 0, &s.records[s.cursor].value;
}

/* If there is no memory for a change, pss_close fails too and rolls back, so that a store is never partly converted. */
syserr_t pss_store(pss_service_t table, uint32 mode, const pss_datum_t* key, const pss_datum_t* value) {
  if (!is_open(table) || mode > PSS_REPLACE || key->siz == 0 || key->siz > DATA_MAX || value->siz > DATA_MAX)
    return BAD_ARGUMENT;
  uint32 at = lower_bound(key);
  pss_datum_t new_value;
  syserr_t status = 0;
  if (!is_stored(at, key)) {
    status = insert(at, key, value);
  } else if (mode == PSS_NEW_ONLY) {
    return STORED_ALREADY;
  } else if (copy(&new_value, value)) {
    free(s.records[at].value.ptr);
    s.records[at].value = new_value;
  } else {
    status = NO_MEMORY;
  }
  s.is_changed = 1;
  if (status != 0) s.is_partly_changed = 1;
  return status;
}

syserr_t pss_delete(pss_service_t table, const pss_datum_t* key) {
  if (!is_open(table)) return BAD_ARGUMENT;
  if (key->siz == 0) return BAD_ARGUMENT;
  uint32 at = lower_bound(key);
  if (!is_stored(at, key)) return SYSERR_PSS_NOKEY;
  s.is_changed = 1;
  if (at == s.cursor && !s.is_before_cursor) {
    free(s.deleted.ptr);
    s.deleted = s.records[at].key; /* position of the cursor until the next move */
    s.records[at].key.ptr = NULL;
    s.is_before_cursor = 1;
  }
  free(s.records[at].key.ptr), free(s.records[at].value.ptr);
  memmove(s.records + at, s.records + at + 1, (--s.count - at) * sizeof *s.records);
  if (at < s.cursor) --s.cursor;
  return 0;
}

/* Renames an earlier snapshot to the first free name NAME.1, NAME.2 ..., because it may be the only copy of its
 * records. */
syserr_t pss_snapshot(pss_service_t table, uint32 flags, const char* url) {
  char path[512], kept[530];
  if (!is_open(table) || flags != 0 || !path_of(url, path, sizeof path)) return BAD_ARGUMENT;
  for (int number = 1;; ++number) {
    snprintf(kept, sizeof kept, "%s.%d", path, number);
    if (link(path, kept) == 0 || errno == ENOENT) return save(path);
    if (errno != EEXIST) return IO_ERROR;
  }
}

const char* syserr2str(syserr_t status) {
  static const char* const texts[] = {"no such store", "store in use",   "I/O error",
                                      "bad argument",  "stored already", "out of memory"};
  if (status == 0 || status == SYSERR_PSS_NOKEY) return status == 0 ? "success" : "no such key";
  return status >= NO_STORE && status <= NO_MEMORY ? texts[status - NO_STORE] : "unknown status";
}

uint32 hton_if_index(if_index_t ifindex) { return htonl(ifindex); }

const char* srg_sw_ver_file_get(const char* path) {
  static char text[512];
  FILE* file = path != NULL ? fopen(path, "re") : NULL;
  if (file == NULL) return NULL;
  const size_t size = fread(text, 1, sizeof text, file);
  const int is_unreadable = ferror(file);
  fclose(file);
  if (is_unreadable || size == sizeof text) return NULL; /* truncated, it could name another release */
  text[size] = '\0';
  return text;
}
