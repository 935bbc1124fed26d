// At each call of a conversion, the process is killed, or the call fails with an I/O error, a full disk or a lack of
// memory. The store contains all changes or none, the snapshot is complete or absent, and a second conversion succeeds.
// CRASH_RECORDS is the number of VR configuration records and of IP associations; CRASH_STEP=N tries each Nth
// call, MEMORY_STEP=N each Nth allocation.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "libconvertvrrp.h"
#include "tests/configuration.h"
#include "tests/embedded_store.h"
#include "tests/system_calls.h"

namespace {

const bool sqlite_is_configured = (SystemCalls::configure_sqlite(), true);
syserr_t last_status;  // of pss_open or pss_close
bool committed;

}  // namespace

// These definitions replace the platform's.
pss_service_t pss_open(const char* url, syserr_t* status) {
  static const auto real_open = reinterpret_cast<decltype(&pss_open)>(dlsym(RTLD_NEXT, "pss_open"));
  const pss_service_t table = real_open(url, status);
  last_status = *status;
  return table;
}
syserr_t pss_close(pss_service_t table) {
  static const auto real_close = reinterpret_cast<decltype(&pss_close)>(dlsym(RTLD_NEXT, "pss_close"));
  last_status = real_close(table);
  committed = last_status == 0;
  return last_status;
}

namespace {

struct Trouble {
  const char* name;
  SystemCalls::Kind kind;
  int error;
  bool persistent;
  syserr_t status;  // expected status
};

// Result of a conversion, as the exit status of its process.
enum : int { killed = -1, was_committed = 16, met_trouble = 32, leaked = 64, reported_wrongly = 128 };

struct Conversion {
  const char *name, *from, *to;
  bool is_upgrade;
};

int open_files() {
  DIR* directory = opendir("/proc/self/fd");
  int count = 0;
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

class CrashTest : public EmbeddedStoreTest, public testing::WithParamInterface<Conversion> {
 protected:
  static constexpr char store[] = "d/vrrp-cfg_runtime_config", snapshot[] = "tmp/vrrp-pss";

  CrashTest() : old_(configuration(routers_, GetParam().is_upgrade)) {
    umask(077);
    set_up_device(GetParam().from, GetParam().to);
    write("log", "");
    create("store", old_);
    create("earlier", earlier_);
    new_ = GetParam().is_upgrade ? left_by_upgrade(old_) : configuration(routers_, true);
  }

  static int setting(const char* name, int otherwise) {
    const char* text = getenv(name);
    return text != nullptr ? atoi(text) : otherwise;
  }

  // Converts the store in a new process. Returns its exit status, or `killed`.
  int convert(const Trouble& trouble, bool log_is_open, int due) {
    const pid_t child = fork();
    if (child == 0) {
      umask(0);
      committed = false;
      trace_fd = log_is_open ? ::open(file("log").c_str(), O_RDWR | O_APPEND) : -1;
      const int files = open_files();
      SystemCalls::kind = trouble.kind;
      SystemCalls::error = trouble.error;
      SystemCalls::persistent = trouble.persistent;
      SystemCalls::made = 0;
      SystemCalls::due = due;
      vrrp_mgr_handle_generic_convert("/d", "", "", "", VRRP_CONVERT_GSYNC);
      SystemCalls::due = 0;
      const bool is_clean = open_files() == files && sqlite3_memory_used() == 0;
      // If the directory cannot be synced after the rename, the status is an I/O error for every reason.
      const bool is_reported =
          committed || last_status == trouble.status || (trouble.error == EDQUOT && last_status == SYSERR_PSS_IO);
      _exit((committed ? was_committed : 0) | (SystemCalls::made >= due ? met_trouble : 0) | (is_clean ? 0 : leaked) |
            (is_reported ? 0 : reported_wrongly));
    }
    int status;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    const bool is_to_be_killed = trouble.kind == SystemCalls::file && trouble.error == 0;
    if (is_to_be_killed && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return killed;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) % was_committed == 0) << "the process crashed: " << status;
    return WEXITSTATUS(status);
  }

  void examine(int outcome, bool could_clean_up) {
    EXPECT_TRUE(outcome == killed || (outcome & leaked) == 0) << "memory or a descriptor leaked";
    EXPECT_TRUE(outcome == killed || (outcome & reported_wrongly) == 0) << "wrong status";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      struct stat status;
      ASSERT_EQ(lstat(entry.path().c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 077, 0u) << entry.path() << " is readable by other users";
      const bool is_scratch = entry.path().native().find("/.pss-") != std::string::npos;
      EXPECT_FALSE(is_scratch && could_clean_up) << entry.path() << " is left after an error";
    }
    const Records found = records(store);
    if (outcome != killed && (outcome & was_committed) != 0) {
      EXPECT_TRUE(found == new_) << "not durable after pss_close returned 0";
    } else {
      EXPECT_TRUE(found == old_ || found == new_) << "a part of the changes";
    }
    examine_snapshots();
  }

  // The earlier snapshot, which has other records, always exists, under its name, the next name, or both. A new
  // snapshot is complete.
  void examine_snapshots() {
    int earlier = 0;
    for (const auto& entry : std::filesystem::directory_iterator(file("tmp"))) {
      if (entry.path().filename().native().starts_with(".pss-")) continue;  // left by a killed process
      const Records found = records("tmp/" + entry.path().filename().string());
      if (found == earlier_) ++earlier;
      EXPECT_TRUE(found == earlier_ || found == old_ || found == new_) << entry.path();
    }
    EXPECT_GE(earlier, 1);
  }

  static int step_of(const Trouble& trouble) {
    return setting(trouble.kind == SystemCalls::memory ? "MEMORY_STEP" : "CRASH_STEP", 1);
  }

  // Returns the number of failed calls.
  int sweep(const Trouble& trouble, bool log_is_open) {
    const int step = step_of(trouble);
    int points = 0;
    for (int due = 1; due < 1000000; due += step) {
      SCOPED_TRACE(std::string(trouble.name) + " at call " + std::to_string(due) + (log_is_open ? ", traced" : ""));
      for (const char* directory : {"d", "tmp"}) {
        std::filesystem::remove_all(file(directory));
        std::filesystem::create_directory(file(directory));
      }
      std::filesystem::copy_file(file("store"), file(store));
      std::filesystem::copy_file(file("earlier"), file(snapshot));
      const int outcome = convert(trouble, log_is_open, due);
      examine(outcome, outcome != killed && !trouble.persistent);
      EXPECT_EQ(convert({"none", SystemCalls::file, 0, false, 0}, false, 0), was_committed | met_trouble);
      EXPECT_TRUE(records(store) == new_) << "converted again";
      examine_snapshots();
      const bool met = outcome == killed || (outcome & met_trouble) != 0;
      if (HasFailure() || !met) return points;
      ++points;
    }
    ADD_FAILURE() << "the number of calls has no limit";
    return points;
  }

  void report(const Trouble& trouble, bool log_is_open) {
    const int points = sweep(trouble, log_is_open);
    EXPECT_GE(points * step_of(trouble), 10) << "too few calls counted";
    std::cout << GetParam().name << ", " << trouble.name << (log_is_open ? ", traced: " : ": ") << points << " points"
              << std::endl;
  }

  const int routers_ = setting("CRASH_RECORDS", 5);
  const Records old_, earlier_ = {{"earlier", "snapshot"}};
  Records new_;
};

// At each call that changes a file, with the trace log open and closed.
TEST_P(CrashTest, LeavesTheStoreOldOrNew) {
  for (const Trouble& trouble : {Trouble{"killed", SystemCalls::file, 0, false, 0},
                                 {"EIO once", SystemCalls::file, EIO, false, SYSERR_PSS_IO},
                                 {"EIO persistently", SystemCalls::file, EIO, true, SYSERR_PSS_IO},
                                 {"EDQUOT persistently", SystemCalls::file, EDQUOT, true, SYSERR_PSS_NO_SPACE}}) {
    for (const bool log_is_open : {false, true}) report(trouble, log_is_open);
  }
}

// At each allocation of the platform and of SQLite.
TEST_P(CrashTest, KeepsTheStoreIfMemoryIsShort) {
  report({"no memory once", SystemCalls::memory, 0, false, SYSERR_PSS_NO_MEMORY}, false);
  report({"no memory persistently", SystemCalls::memory, 0, true, SYSERR_PSS_NO_MEMORY}, false);
}

TEST_P(CrashTest, CreatesNoStoreWithoutMemory) {
  SystemCalls::kind = SystemCalls::memory;
  SystemCalls::persistent = true;
  SystemCalls::made = 0;
  SystemCalls::due = 1;
  EXPECT_EQ(pss_embedded_create(url("new").c_str()), SYSERR_PSS_NO_MEMORY);
  SystemCalls::due = 0;
  EXPECT_FALSE(std::filesystem::exists(file("new")));
}

void PrintTo(const Conversion& conversion, std::ostream* stream) { *stream << conversion.name; }

INSTANTIATE_TEST_SUITE_P(Conversions, CrashTest,
                         testing::Values(Conversion{"Upgrade", "4.1(2)", "4.2(1)", true},
                                         Conversion{"Downgrade", "4.2(1)", "4.1(2)", false}),
                         [](const auto& conversion) { return conversion.param.name; });

}  // namespace
