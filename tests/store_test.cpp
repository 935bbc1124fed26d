// The embedded store beyond the contract, which pss_conformance tests: limits, names, renamed snapshots, damaged and
// foreign files.

#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <set>

#include "tests/embedded_store.h"

static int waiting = -1;  // pipe on which a process reports that it waits

// Replaces the C library's: the platform sleeps only while it waits.
extern "C" int nanosleep(const timespec* time, timespec* left) {
  if (waiting >= 0) (void)!write(waiting, "", 1);
  return -clock_nanosleep(CLOCK_MONOTONIC, 0, time, left);
}

// Replaces the C library's, also under its fortified name.
static std::string logged;
#define RECORD_LOG(name, parameters)                        \
  extern "C" void name parameters {                         \
    char text[300];                                         \
    va_list arguments;                                      \
    va_start(arguments, format);                            \
    vsnprintf(text, sizeof text, format, arguments);        \
    va_end(arguments);                                      \
    logged += std::to_string(priority) + " " + text + "\n"; \
  }
RECORD_LOG(syslog, (int priority, const char* format, ...))
RECORD_LOG(__syslog_chk, (int priority, int, const char* format, ...))

namespace {

const Records three = {{"a", "1"}, {"ab", "2"}, {"b", Bytes("\0x\0", 3)}};

class StoreTest : public EmbeddedStoreTest {
 protected:
  // Changes a file with the sqlite3 library.
  void run_sql(const std::string& name, const char* sql) {
    sqlite3* database;
    ASSERT_EQ(sqlite3_open(file(name).c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
  }

  // Changes the owner of a file, which only root can do.
  static void say_what_needs_root() {
    if (geteuid() != 0) std::cout << "left out: needs root: a file of another user" << std::endl;
  }

  // Runs `work` in a new process, whose exit status is the result.
  template <typename Work>
  static void in_a_process(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
};

TEST_F(StoreTest, RefusesBadArguments) {
  const Records longest = {{Bytes(1024, '\xff'), "x"}, {"k", Bytes(1 << 20, 'v')}};
  create("s", longest);
  const pss_service_t table = open("s");
  const pss_datum_t null = {nullptr, 1};
  const Bytes k = "k";
  const pss_datum_t key = datum(k);
  syserr_t status;
  EXPECT_EQ(put(table, "k", "x", PSS_NEW_ONLY), SYSERR_PSS_EXISTS);
  EXPECT_EQ(put(table, "k", "x", 2), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(put(table, "", "x"), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(put(table, Bytes(1025, 'k'), "x"), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(put(table, "k", Bytes((1 << 20) + 1, 'v')), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(pss_store(table, PSS_REPLACE, &key, &null), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(pss_store(table, PSS_REPLACE, nullptr, &key), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_NE(pss_move2key(table, &null, &status), nullptr) << "null would mean the end of the store";
  EXPECT_EQ(status, SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(pss_snapshot(table, 8, url("t").c_str()), SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(pss_snapshot(table, PSS_EMBEDDED_REPLACE | PSS_EMBEDDED_NEW_ONLY, url("t").c_str()),
            SYSERR_PSS_BAD_ARGUMENT);
  EXPECT_EQ(pss_snapshot(table, 0, url("s").c_str()), SYSERR_PSS_BAD_ARGUMENT) << "over itself";
  EXPECT_EQ(pss_close(table), 0u);
  EXPECT_EQ(records("s"), longest);

  for (const pss_service_t bad : {table, 0u, 12345u}) {
    EXPECT_EQ(pss_close(bad), SYSERR_PSS_BAD_HANDLE);
    EXPECT_EQ(pss_embedded_discard(bad), SYSERR_PSS_BAD_HANDLE);
    EXPECT_EQ(put(bad, "a", "x"), SYSERR_PSS_BAD_HANDLE);
    EXPECT_EQ(remove(bad, "a"), SYSERR_PSS_BAD_HANDLE);
    EXPECT_EQ(at(bad, PSS_FIRST_KEY), "(failed)");
    EXPECT_EQ(value(bad), "(none)");
    EXPECT_EQ(pss_snapshot(bad, 0, url("t").c_str()), SYSERR_PSS_BAD_HANDLE);
  }
}

TEST_F(StoreTest, OpensWhatUrlsNameBelowTheRoot) {
  std::filesystem::create_directory(file("d"));
  create("d/s", three);
  for (const char* good : {"nonvolatile:/d/s", "nonvolatile:d/s", "nonvolatile://d//s"}) {
    syserr_t status;
    const pss_service_t table = pss_open(good, &status);
    EXPECT_EQ(status, 0u) << good;
    EXPECT_EQ(pss_close(table), 0u);
  }
  const struct {
    std::string url;
    syserr_t status;
  } bad[] = {{"", SYSERR_PSS_BAD_URL},
             {"volatile:/d/s", SYSERR_PSS_BAD_URL},
             {"nonvolatile:", SYSERR_PSS_BAD_URL},
             {"nonvolatile:/d/s/", SYSERR_PSS_BAD_URL},
             {"nonvolatile:/d/../d/s", SYSERR_PSS_BAD_URL},
             {"nonvolatile:/d/.", SYSERR_PSS_BAD_URL},
             {"nonvolatile:/" + std::string(5000, 'x'), SYSERR_PSS_BAD_URL},
             {"nonvolatile:/d/none", SYSERR_PSS_NO_STORE},
             {"nonvolatile:/none/s", SYSERR_PSS_NO_STORE},
             {"nonvolatile:/d/s/s", SYSERR_PSS_NO_STORE},
             {"nonvolatile:/d", SYSERR_PSS_NOT_A_STORE},
             {"nonvolatile:/d/" + std::string(241, 'x'), SYSERR_PSS_BAD_URL},
             {"nonvolatile:/d/s-journal", SYSERR_PSS_BAD_URL}};
  for (const auto& [bad_url, expected] : bad) {
    syserr_t status = 0;
    EXPECT_EQ(pss_open(bad_url.c_str(), &status), 0u);
    EXPECT_EQ(status, expected) << bad_url;
  }
  syserr_t status = 0;
  EXPECT_EQ(pss_open(nullptr, &status), 0u);
  EXPECT_EQ(status, SYSERR_PSS_BAD_URL);
  EXPECT_FALSE(std::filesystem::exists(file("d/none"))) << "pss_open created a store";
  setenv("PSS_NONVOLATILE_ROOT", std::string(100000, '/').c_str(), 1);
  open("d/s", SYSERR_PSS_BAD_URL);
}

TEST_F(StoreTest, IsCreatedOnceWithModeOwnerOnly) {
  const mode_t umask_before = umask(0);
  create("s", three);
  umask(umask_before);
  struct stat status;
  ASSERT_EQ(stat(file("s").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_EQ(pss_embedded_create(url("s").c_str()), SYSERR_PSS_EXISTS);
  EXPECT_EQ(records("s"), three);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 1) << "a temporary file is left";
}

TEST_F(StoreTest, HandlesAreBoundedAndNeverMeanALaterStore) {
  std::vector<pss_service_t> tables;
  for (int i = 0; i < PSS_EMBEDDED_HANDLES_MAX; ++i) {
    create("s" + std::to_string(i), {});
    tables.push_back(open("s" + std::to_string(i)));
  }
  syserr_t status;
  EXPECT_EQ(pss_open(url("s0").c_str(), &status), 0u);
  EXPECT_EQ(status, SYSERR_PSS_NO_MEMORY);
  for (const pss_service_t table : tables) EXPECT_EQ(pss_close(table), 0u);
  const pss_service_t later = open("s0");
  EXPECT_EQ(pss_close(tables[0]), SYSERR_PSS_BAD_HANDLE);
  EXPECT_EQ(pss_close(later), 0u);
}

TEST_F(StoreTest, KeepsNothingOfAHandleThatIsDiscarded) {
  create("s", three);
  const std::string before = content("s");
  const pss_service_t table = open("s");
  EXPECT_EQ(at(table, PSS_FIRST_KEY), "a");
  EXPECT_EQ(put(table, "d", Bytes(100000, 'x')), 0u);
  EXPECT_EQ(remove(table, "a"), 0u);
  EXPECT_EQ(pss_snapshot(table, 0, url("t").c_str()), 0u);
  EXPECT_EQ(pss_embedded_discard(table), 0u);
  EXPECT_EQ(pss_close(table), SYSERR_PSS_BAD_HANDLE);
  EXPECT_EQ(content("s"), before);
  EXPECT_EQ(records("t").count("d"), 1u);
  EXPECT_EQ(records("s"), three) << "the lock is still held";
}

TEST_F(StoreTest, SnapshotsItsUncommittedState) {
  create("s", three);
  const pss_service_t table = open("s");
  EXPECT_EQ(at(table, PSS_FIRST_KEY), "a");
  EXPECT_EQ(put(table, "new", "x"), 0u);
  EXPECT_EQ(remove(table, "b"), 0u);

  // With this flag it replaces any file, and does not follow a symbolic link.
  create("outside", {});
  const std::string outside = content("outside");
  write("file", "text");
  write("theirs", "another user's file");
  chmod(file("theirs").c_str(), 0666);
  (void)!chown(file("theirs").c_str(), 65534, 65534);  // as far as this user may
  write("stale-journal", "a journal of an earlier store");
  std::filesystem::create_symlink(file("outside"), file("link"));
  mkfifo(file("fifo").c_str(), 0600);
  const Records expected = {{"a", "1"}, {"ab", "2"}, {"new", "x"}};
  for (const char* target : {"fresh", "file", "theirs", "stale", "link", "fifo"}) {
    EXPECT_EQ(pss_snapshot(table, PSS_EMBEDDED_REPLACE, url(target).c_str()), 0u) << target;
    EXPECT_FALSE(std::filesystem::exists(file(target) + std::string(".1")));
    struct stat status;
    ASSERT_EQ(lstat(file(target).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600u) << target;
    EXPECT_EQ(status.st_uid, geteuid()) << target;
    EXPECT_EQ(records(target), expected) << target;
  }
  EXPECT_EQ(content("outside"), outside);
  EXPECT_FALSE(std::filesystem::exists(file("stale-journal")));
  write("gone-journal", "the journal of a store that is gone");
  EXPECT_EQ(pss_embedded_create(url("gone").c_str()), SYSERR_PSS_EXISTS);

  // Every user can create a directory in /tmp: it is renamed, and so is a directory with the name of a sidecar file.
  for (const uint32 flags : {0, 1}) {
    std::filesystem::create_directory(file("directory"));
    std::filesystem::create_directory(file("directory-wal"));
    EXPECT_EQ(pss_snapshot(table, flags, url("directory").c_str()), 0u);
    EXPECT_EQ(records("directory"), expected);
    std::filesystem::remove(file("directory"));
    EXPECT_EQ(pss_embedded_kept(), flags + 1);
    EXPECT_TRUE(std::filesystem::is_directory(file("directory." + std::to_string(flags + 1))));
  }
  EXPECT_EQ(pss_snapshot(table, 0, url("none/s").c_str()), SYSERR_PSS_NO_STORE);
  EXPECT_EQ(at(table, PSS_NEXT_KEY), "ab") << "the cursor moved";
  EXPECT_EQ(pss_close(table), 0u);
  EXPECT_EQ(records("s"), expected);
  say_what_needs_root();
}

// A file at a snapshot's path that is not an intact store with the same records is renamed to the first name that
// neither a file nor a sidecar file has.
TEST_F(StoreTest, SnapshotsRenameAFileWithOtherRecords) {
  create("s", three);
  const pss_service_t table = open("s");
  const auto snapshot = [&] { return pss_snapshot(table, 0, url("t").c_str()); };
  const auto names = [this] {
    std::string all;
    for (const auto& entry : std::set<std::filesystem::path>{std::filesystem::directory_iterator(root), {}}) {
      if (entry.filename().string()[0] == 't') all += entry.filename().string() + " ";
    }
    return all;
  };
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(names(), "t ") << "a snapshot with the same records was not replaced";

  EXPECT_EQ(put(table, "c", "4"), 0u);
  write("t.1-journal", "of a file that is gone");
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(names(), "t t.1-journal t.2 ");
  EXPECT_EQ(records("t.2"), three);
  EXPECT_EQ(records("t").count("c"), 1u);

  // The same records with a flipped bit, so the store is not intact; then an unreadable store.
  std::string damaged = content("t");
  damaged[damaged.size() - 1] ^= 1;
  write("t", damaged);
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(content("t.3"), damaged);
  write("t-wal", "a log that may belong to it");
  const std::string with_log = content("t");
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(content("t.4") + content("t.4-wal"), with_log + "a log that may belong to it");
  std::filesystem::remove(file("t"));
  std::filesystem::create_symlink(file("s"), file("t"));
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_TRUE(std::filesystem::is_symlink(file("t.5")));
  std::filesystem::rename(file("t"), file("t-journal"));
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(names(), "t t.1-journal t.2 t.3 t.4 t.4-wal t.5 t.6-journal ");
  // A second name of the open store.
  std::filesystem::rename(file("t"), file("u"));
  std::filesystem::create_hard_link(file("s"), file("t"));
  EXPECT_EQ(snapshot(), 0u);
  EXPECT_EQ(pss_embedded_kept(), 7u);
  const std::string longest(240, 'l');
  create(longest, {});
  EXPECT_EQ(pss_snapshot(table, 0, url(longest).c_str()), 0u);
  EXPECT_TRUE(std::filesystem::exists(file(longest + ".1")));
  EXPECT_EQ(pss_embedded_discard(table), 0u);
}

// ---- The file ----

TEST_F(StoreTest, KeepsOwnerGroupAndModeOfItsFile) {
  create("s", {{"a", Bytes(100000, 'x')}, {"b", "2"}});
  create("t", {{"b", "2"}});
  const size_t size = content("s").size();
  const auto attributes = [this] {
    struct stat status;
    stat(file("s").c_str(), &status);
    return std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid) + ":" + std::to_string(status.st_mode);
  };
  (void)!chown(file("s").c_str(), 65534, 65533);  // as far as this user may
  chmod(file("s").c_str(), 0664);
  const std::string before = attributes();
  const pss_service_t table = open("s");
  EXPECT_EQ(remove(table, "a"), 0u);
  EXPECT_EQ(pss_close(table), 0u);
  EXPECT_EQ(attributes(), before);
  EXPECT_LT(content("s").size(), size / 2) << "a mostly free store was not compacted";

  const pss_service_t source = open("t");
  EXPECT_EQ(put(source, "c", "3"), 0u);
  EXPECT_EQ(pss_snapshot(source, PSS_EMBEDDED_INHERIT, url("s").c_str()), 0u);
  EXPECT_EQ(attributes(), before);
  EXPECT_EQ(records("s.1"), Records({{"b", "2"}}));
  EXPECT_EQ(pss_snapshot(source, PSS_EMBEDDED_NEW_ONLY, url("s").c_str()), SYSERR_PSS_EXISTS);
  EXPECT_EQ(pss_embedded_discard(source), 0u);
  say_what_needs_root();
}

// The lock is on the file: if another process changes its name, neither that process's file nor this store is lost.
TEST_F(StoreTest, ReturnsBusyIfThePathNamesAnotherFile) {
  create("s", three);
  create("other", {{"o", "1"}});
  pss_service_t table = open("s");
  EXPECT_EQ(put(table, "new", "x"), 0u);
  std::filesystem::rename(file("s"), file("moved"));
  std::filesystem::rename(file("moved"), file("s"));
  EXPECT_EQ(put(table, "newer", "x"), 0u);
  EXPECT_EQ(pss_close(table), 0u);
  EXPECT_EQ(records("s").size(), 5u) << "the change is not complete after the name was free for a moment";

  table = open("s");
  EXPECT_EQ(put(table, "lost", "x"), 0u);
  std::filesystem::create_hard_link(file("s"), file("link"));
  std::filesystem::rename(file("other"), file("s"));
  EXPECT_EQ(logged, "") << "a successful close is logged";
  EXPECT_EQ(pss_close(table), SYSERR_PSS_BUSY);
  EXPECT_TRUE(logged.starts_with("27 vrrp: store " + file("s") + ": pss_close failed: 0x40488004 (")) << logged;
  EXPECT_EQ(records("s"), Records({{"o", "1"}}));
  EXPECT_EQ(records("link").size(), 5u);

  table = open("s");
  EXPECT_EQ(put(table, "p", "2"), 0u);
  std::filesystem::remove(file("s"));
  EXPECT_EQ(pss_close(table), SYSERR_PSS_NO_STORE);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 1) << "a temporary file is left";
}

TEST_F(StoreTest, IsReadAsFarAsItsHeaderSays) {
  create("s", three);
  std::string huge = content("s");
  std::filesystem::resize_file(file("s"), uintmax_t{8} << 30);
  EXPECT_EQ(records("s"), three) << "bytes after the end were read";
  huge.replace(28, 4, hex("00 02 00 01"));  // pages: one more than fit
  write("s", huge);
  open("s", SYSERR_PSS_TOO_LARGE);
  huge.replace(28, 4, hex("00 01 ff ff"));
  write("s", huge);
  open("s", SYSERR_PSS_DAMAGED);
}

TEST_F(StoreTest, OpensCopiesThatAreNeverWritten) {
  create("s", three);
  const std::string before = content("s");
  syserr_t status = 1;
  const pss_service_t copy = pss_embedded_open_copy(url("s").c_str(), 0, &status);
  ASSERT_EQ(status, 0u);
  const pss_service_t held = open("s");
  EXPECT_EQ(put(copy, "new", "x"), 0u) << "a working copy cannot be changed";
  EXPECT_EQ(pss_embedded_open_copy(url("s").c_str(), 20, &status), 0u);
  EXPECT_EQ(status, SYSERR_PSS_BUSY);
  EXPECT_EQ(pss_close(held), 0u);

  FILE* image = tmpfile();
  EXPECT_EQ(pss_embedded_write_image(copy, fileno(image)), 0u);
  EXPECT_EQ(pss_close(copy), 0u);
  EXPECT_EQ(content("s"), before);
  const pss_service_t again = pss_embedded_open_descriptor(fileno(image), &status);
  EXPECT_EQ(records(again).count("new"), 1u);
  EXPECT_EQ(pss_close(again), 0u);
  fclose(image);
}

TEST_F(StoreTest, ReportsNoMemoryNotDamageIfMemoryIsShort) {
  if (getenv("ASAN_OPTIONS") != nullptr) GTEST_SKIP() << "the sanitizer needs more for itself";
  Records large;
  for (char key = 'a'; key < 'a' + 20; ++key) large[Bytes(1, key)] = Bytes(500000, key);
  create("s", large);
  in_a_process([] {
    bool was_short = false;
    for (rlim_t room = 0; room < (rlim_t{40} << 20); room += 1 << 18) {
      rlimit limit = {0, RLIM_INFINITY};
      unsigned long pages = 0;
      std::ifstream("/proc/self/statm") >> pages;
      limit.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + room;
      setrlimit(RLIMIT_AS, &limit);
      syserr_t status;
      const pss_service_t table = pss_open(url("s").c_str(), &status);
      if (table != 0) return was_short && pss_close(table) == 0;
      if (status != SYSERR_PSS_NO_MEMORY) return false;
      was_short = true;
    }
    return false;
  });
}

// A forked child of the host shares the open file description of the lock.
TEST_F(StoreTest, ReleasesItsLockAtClose) {
  create("s", three);
  const pss_service_t table = open("s");
  const pid_t child = fork();
  if (child == 0) pause();
  EXPECT_EQ(pss_close(table), 0u);
  syserr_t status;
  EXPECT_NE(pss_embedded_open_copy(url("s").c_str(), 0, &status), 0u);
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST_F(StoreTest, WaitsForALeaseAsForALock) {
  create("s", three);
  const int leased = ::open(file("s").c_str(), O_RDWR);
  signal(SIGIO, SIG_IGN);  // the kernel's signal to release the lease
  ASSERT_EQ(fcntl(leased, F_SETLEASE, F_WRLCK), 0);
  syserr_t status;
  EXPECT_EQ(pss_embedded_open_copy(url("s").c_str(), 20, &status), 0u);
  EXPECT_EQ(status, SYSERR_PSS_BUSY);
  close(leased);
  EXPECT_EQ(records("s"), three);
}

// ---- Damaged and foreign files ----

TEST_F(StoreTest, RefusesForeignFiles) {
  create("s", three);
  const struct {
    const char* name;
    const char* sql;
    syserr_t status = SYSERR_PSS_DAMAGED;
  } databases[] = {
      {"sqlite", "CREATE TABLE t(x)", SYSERR_PSS_NOT_A_STORE},
      {"wal", "PRAGMA journal_mode=WAL; CREATE TABLE t(x)", SYSERR_PSS_NOT_A_STORE},
      {"utf16", "PRAGMA encoding='UTF-16'; PRAGMA application_id=0x50535331; PRAGMA user_version=1; CREATE TABLE t(x)",
       SYSERR_PSS_NOT_A_STORE},
      {"s trigger", "CREATE TRIGGER t AFTER DELETE ON record BEGIN DELETE FROM digest; END"},
      {"s view", "CREATE VIEW v AS SELECT 1"},
      {"s table", "CREATE TABLE t(x)"},
      {"s version", "PRAGMA user_version=2", SYSERR_PSS_NOT_A_STORE},
      {"twin",
       "PRAGMA application_id=0x50535331; PRAGMA user_version=1; CREATE TABLE record(key, value, "
       "checksum); CREATE TABLE digest(records, checksum); INSERT INTO record VALUES(x'01', x'02', 3)"}};
  for (const auto& [name, sql, status] : databases) {
    if (*name == 's' && name[1] == ' ') write(name, content("s"));
    run_sql(name, sql);
    const std::string before = content(name);
    open(name, status);
    EXPECT_EQ(content(name), before) << name << " is not changed";
  }
  write("empty", "");
  write("text", std::string(5000, 't'));
  mkfifo(file("fifo").c_str(), 0600);
  std::filesystem::create_symlink(file("s"), file("link"));
  for (const char* name : {"empty", "text", "fifo", "link"}) open(name, SYSERR_PSS_NOT_A_STORE);
  run_sql("s", "PRAGMA journal_mode=WAL");
  EXPECT_EQ(records("s"), three) << "a store with another journal mode was refused";
  for (const char* planted : {"s-journal", "s-wal"}) {
    mkfifo(file(planted).c_str(), 0600);
    open("s", SYSERR_PSS_UNTRUSTED);
    std::filesystem::remove(file(planted));
    write(planted, "an unfinished change");
    open("s", SYSERR_PSS_UNTRUSTED);
    write(planted, "");
    EXPECT_EQ(records("s"), three) << "an empty sidecar file was not ignored";
    std::filesystem::remove(file(planted));
  }
  EXPECT_EQ(records("s"), three);
}

// Rows that another program deleted, added, duplicated or changed, with matching row checksums.
TEST_F(StoreTest, DetectsChangesThatLeaveEveryRowIntact) {
  for (const char* sql :
       {"DELETE FROM record WHERE key = x'61'", "UPDATE record SET value = x'99' WHERE key = x'61'",
        "INSERT INTO record VALUES(zeroblob(2000), x'00', 0)", "UPDATE digest SET records = records + 1",
        "DELETE FROM digest", "INSERT INTO digest VALUES(3, 0)",
        "INSERT INTO record SELECT x'63', value, checksum FROM record WHERE key = x'61'"}) {
    std::filesystem::remove(file("s"));
    create("s", three);
    run_sql("s", sql);
    open("s", SYSERR_PSS_DAMAGED);
  }
  std::filesystem::remove(file("s"));
  create("s", three);
  std::string pages = content("s");
  pages[39] ^= 1;  // the number of free pages, which does not affect records
  write("s", pages);
  open("s", SYSERR_PSS_DAMAGED);
}

// If a store is replaced while a process waits for it, the process opens the new store.
TEST_F(StoreTest, IsOpenedUnderItsName) {
  const Records replacement = {{"new", "store"}};
  create("s", three);
  create("t", replacement);
  const pss_service_t held = open("s"), source = open("t");
  int waits[2];
  ASSERT_EQ(pipe(waits), 0);
  const pid_t child = fork();
  if (child == 0) {
    waiting = waits[1];
    _exit(records("s") == replacement ? 0 : 1);
  }
  close(waits[1]);  // a child that does not wait for the lock ends the read
  char byte;
  EXPECT_EQ(::read(waits[0], &byte, 1), 1);
  EXPECT_EQ(pss_snapshot(source, PSS_EMBEDDED_REPLACE, url("s").c_str()), 0u);
  EXPECT_EQ(pss_embedded_discard(held), 0u);
  EXPECT_EQ(pss_embedded_discard(source), 0u);
  int status;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  close(waits[0]);
}

// Such a program copies pages to the file under a shared lock.
TEST_F(StoreTest, IsNotDamagedBesideAWriteAheadLog) {
  Records one;
  for (char key = 'a'; key <= 'z'; ++key) one[Bytes(1, key)] = Bytes(500000, key);  // reading them takes a while
  Records other = one;
  other["z"] = "other";
  create("s", one);
  create("one", one);
  create("other", other);
  const pid_t writer = fork();
  for (int i = 0;; ++i) {
    if (writer != 0) break;
    const std::string from = file(i % 2 == 0 ? "other" : "one");
    sqlite3* database;
    sqlite3_open(file("s").c_str(), &database);
    (void)sqlite3_exec(database,
                       ("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF; ATTACH '" + from +
                        "' AS a; BEGIN; REPLACE INTO record SELECT * FROM a.record WHERE key = x'7a'; DELETE FROM "
                        "digest; INSERT INTO digest SELECT * FROM a.digest; COMMIT; PRAGMA wal_checkpoint")
                           .c_str(),
                       nullptr, nullptr, nullptr);  // the parent may have locked the store
    sqlite3_close(database);
  }
  int count = 0;
  for (const time_t end = time(nullptr) + 3; time(nullptr) < end;) {
    syserr_t status;
    const pss_service_t table = pss_embedded_open_copy(url("s").c_str(), 200, &status);
    EXPECT_TRUE(status == 0 || status == SYSERR_PSS_BUSY || status == SYSERR_PSS_UNTRUSTED) << syserr2str(status);
    if (table == 0) continue;
    const Records found = records(table);
    EXPECT_TRUE(found == one || found == other);
    EXPECT_EQ(pss_close(table), 0u);
    ++count;
  }
  EXPECT_GT(count, 0);
  kill(writer, SIGKILL);
  EXPECT_EQ(waitpid(writer, nullptr, 0), writer);
}

TEST_F(StoreTest, IsReadOnlyWhereItCannotBeWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "left out: needs root to become a user with read permission only";
  create("s", three);
  chmod(root.c_str(), 0755);
  chmod(file("s").c_str(), 0644);
  in_a_process([] {
    if (setuid(65534) != 0) return false;
    const pss_service_t table = open("s");
    return records(table) == three && put(table, "a", "x") == SYSERR_PSS_READ_ONLY &&
           remove(table, "a") == SYSERR_PSS_READ_ONLY && pss_close(table) == 0;
  });
  // A user who may write the file but cannot keep its owner gets a store for reading. So does its owner if the mode
  // forbids writing.
  chmod(root.c_str(), 0777);
  for (const auto& [owner, mode] : {std::pair(0u, 0666), std::pair(65534u, 0400)}) {
    EXPECT_EQ(chown(file("s").c_str(), owner, owner), 0);
    chmod(file("s").c_str(), static_cast<mode_t>(mode));
    in_a_process([] {
      if (setgid(65534) != 0 || setuid(65534) != 0) return false;
      const pss_service_t table = open("s");
      return put(table, "a", "x") == SYSERR_PSS_READ_ONLY && pss_close(table) == 0;
    });
  }
  EXPECT_EQ(records("s"), three);
  if (mount(file("s").c_str(), file("s").c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "left out: needs permission to mount";
  const pss_service_t mounted = open("s");
  EXPECT_EQ(put(mounted, "a", "x"), SYSERR_PSS_READ_ONLY);
  EXPECT_EQ(pss_close(mounted), 0u);
  umount(file("s").c_str());
}

}  // namespace
