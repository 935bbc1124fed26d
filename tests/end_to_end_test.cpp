// The library like the system manager runs it: loaded with dlopen, on stores of the embedded platform.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>

#include "libconvertvrrp.h"
#include "tests/configuration.h"
#include "tests/embedded_store.h"
#include "tests/trace_log.h"

using testing::Contains;
using testing::HasSubstr;

// This process exports a name of the library, as another library could. The library must not call it.
extern "C" int32 pss_get_table(pss_service_t, vrrp_pss_key_type_t, void**, int32*, int32) { return 99; }

namespace {

class EndToEndTest : public EmbeddedStoreTest {
 protected:
  static constexpr char running[] = "d/vrrp-cfg_runtime_config", startup[] = "d/bin/vrrp-cfg_config_sav";

  EndToEndTest() : library_(dlopen(CONVERTVRRP_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(library_, nullptr) << dlerror();
    log.create();
    set_up_device("4.2(1)", "4.1(2)");
  }
  ~EndToEndTest() override {
    *symbol<int32*>("trace_fd") = -1;
    dlclose(library_);
  }

  template <typename Symbol>
  Symbol symbol(const char* name) {
    void* found = dlsym(library_, name);
    EXPECT_NE(found, nullptr) << name;
    return reinterpret_cast<Symbol>(found);
  }

  syserr_t gsync(const char* path = "/d") {
    return symbol<decltype(&convert_gsync)>("convert_gsync")(path, "p", "to", "from");
  }

  TraceLog log;

 private:
  void* library_;
};

TEST_F(EndToEndTest, ConvertsAStoreDownAndUpAgain) {
  create(running, configuration(256, false));
  EXPECT_EQ(gsync(), 0u);
  EXPECT_EQ(records(running), configuration(256, true));
  EXPECT_EQ(gsync(), 0u) << "a second downgrade changes nothing";
  EXPECT_EQ(records(running), configuration(256, true));

  set_releases("4.1(2)", "4.2(1)");
  EXPECT_EQ(gsync(), 0u);
  EXPECT_EQ(records(running), left_by_upgrade(configuration(256, true)));
  EXPECT_EQ(records("tmp/vrrp-pss"), configuration(256, true)) << "the snapshot contains the deleted records";
  EXPECT_EQ(gsync(), 0u) << "a second upgrade deletes nothing";
  EXPECT_EQ(records("tmp/vrrp-pss"), left_by_upgrade(configuration(256, true)));
  EXPECT_EQ(records("tmp/vrrp-pss.1"), configuration(256, true)) << "the only copy still exists";

  const auto lines = log.lines();
  EXPECT_THAT(
      lines, testing::AllOf(testing::Not(Contains(HasSubstr("rror"))), testing::Contains(HasSubstr("ailed")).Times(1)));
  EXPECT_EQ(lines.size(), 2 * (14u + 2 + 2 * 256 + 1) + 2 * (12u + 3 + 3 + 2) + 4 * 256);
}

TEST_F(EndToEndTest, ChangesNoByteWhereNothingIsToBeConverted) {
  create(running, configuration(256, true));
  create(startup, configuration(256, true));
  const std::string before = content(running), startup_before = content(startup);
  for (const char* version : {"", "garbage", "4.2(1)", "5.0(1)"}) {
    set_releases(version, version);
    EXPECT_EQ(gsync(), 0u);
    EXPECT_EQ(content(running), before) << version;
  }
  set_releases("4.1(2)", "4.2(1)");
  EXPECT_EQ(symbol<decltype(&convert_startup)>("convert_startup")("/d", "p", "", ""), 0u);
  EXPECT_EQ(content(startup), startup_before);
  EXPECT_EQ(log.lines().back(), "vrrp_mgr_handle_generic_convert No conversion as it's startup");
}

TEST_F(EndToEndTest, NeedsLittleStack) {
  if (getenv("ASAN_OPTIONS") != nullptr) GTEST_SKIP() << "the sanitizer needs more memory";
  create(running, configuration(1000, true));
  set_releases("4.1(2)", "4.2(1)");
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  EXPECT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
  pthread_t thread;
  std::function<void()> convert = [this] { gsync(); };
  const auto call = [](void* work) -> void* { return (*static_cast<std::function<void()>*>(work))(), nullptr; };
  ASSERT_EQ(pthread_create(&thread, &attributes, call, &convert), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(records(running), left_by_upgrade(configuration(1000, true)));
}

TEST_F(EndToEndTest, LeavesWhatItCannotOpen) {
  gsync("/none");
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("Failed to open nonvolatile:/none/vrrp-cfg_runtime_config: no such store")));
}

// ---- Two at once ----

// A process that locks the store, reports that, and unlocks it by itself or when it is killed.
class Other {
 public:
  template <typename Hold>
  explicit Other(Hold hold) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    process_ = fork();
    if (process_ == 0) {
      auto let_go = hold();
      EXPECT_EQ(::write(ready[1], "", 1), 1);
      let_go();
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    char byte;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    close(ready[0]), close(ready[1]);
  }
  ~Other() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  // Waits until the process ends by itself.
  void wait() const {
    siginfo_t ended;
    waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT);
    EXPECT_TRUE(ended.si_code == CLD_EXITED && ended.si_status == 0) << "the other process failed";
  }

 private:
  pid_t process_;
};

class TwoAtOnceTest : public EndToEndTest {
 protected:
  TwoAtOnceTest() {
    create(running, configuration(20, true));
    set_releases("4.1(2)", "4.2(1)");
  }

  // A process that adds a record.
  std::function<void()> writer() {
    const pss_service_t table = open(running);
    EXPECT_EQ(put(table, hex("05 02"), "track"), 0u);
    return [table] { EXPECT_EQ(pss_close(table), 0u); };
  }

  // A process that reads the file with the sqlite3 library.
  std::function<void()> reader() {
    sqlite3* database;
    EXPECT_EQ(sqlite3_open(file(running).c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, "BEGIN; SELECT * FROM digest", nullptr, nullptr, nullptr), SQLITE_OK);
    return [database] { sqlite3_close(database); };
  }
};

TEST_F(TwoAtOnceTest, AConversionWaitsAndGetsTheStore) {
  Records expected = left_by_upgrade(configuration(20, true));
  for (const bool is_writer : {false, true}) {
    log.create();
    const Other other([&]() -> std::function<void()> {
      return [this, let_go = is_writer ? writer() : reader()] {
        for (int i = 0; i < 10000 && log.text().find("Entering upgrade") == std::string::npos; ++i) usleep(1000);
        let_go();
      };
    });
    gsync();
    if (is_writer) expected[hex("05 02")] = "track";
    EXPECT_EQ(records(running), expected) << "the change of the other process is missing";
    other.wait();
  }
}

TEST_F(TwoAtOnceTest, AConversionReportsBusyAfter5Seconds) {
  const std::string before = content(running);
  const Other other([&]() -> std::function<void()> { return [let_go = reader()] { pause(); }; });
  const auto start = std::chrono::steady_clock::now();
  gsync();
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(waited > std::chrono::seconds(4) && waited < std::chrono::seconds(7));
  EXPECT_THAT(log.lines().back(), testing::AllOf(HasSubstr("Failed to open"), HasSubstr("in use by another")));
  EXPECT_EQ(content(running), before);
}

}  // namespace
