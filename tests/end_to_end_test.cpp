// The library as the system manager runs it: loaded with dlopen, on real stores of the embedded platform.

#include <dlfcn.h>
#include <gmock/gmock.h>

#include "libconvertvrrp.h"
#include "tests/configuration.h"
#include "tests/embedded_store.h"
#include "tests/trace_log.h"

using testing::Contains;
using testing::HasSubstr;

// A name of the library that this process exports too, as another library beside it could: the library must not call
// it.
extern "C" int32 pss_get_table(pss_service_t, vrrp_pss_key_type_t, void**, int32*, int32) { return 99; }

namespace {

class EndToEndTest : public EmbeddedStoreTest {
 protected:
  static constexpr char running[] = "d/vrrp-cfg_runtime_config", startup[] = "d/bin/vrrp-cfg_config_sav";

  EndToEndTest() : library_(dlopen(CONVERTVRRP_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(library_, nullptr) << dlerror();
    log.create();
    std::filesystem::create_directories(file("d/bin"));
    std::filesystem::create_directories(file("tmp"));
    set_releases("4.2(1)", "4.1(2)");
    setenv("SYSMGR_VDC_ID", "1", 1);
    setenv("SYSMGR_TO_SRG_PATH", file("to").c_str(), 1);
    setenv("SYSMGR_FROM_SRG_PATH", file("from").c_str(), 1);
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

  void set_releases(const std::string& from, const std::string& to) {
    write("from", from);
    write("to", to);
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
  EXPECT_EQ(records("tmp/vrrp-pss"), configuration(256, true)) << "the snapshot holds what was removed";

  const auto lines = log.lines();
  EXPECT_THAT(lines, testing::Not(Contains(HasSubstr("rror"))));
  EXPECT_EQ(lines.size(), 2 * (14u + 2 + 2 * 256 + 1) + 12 + 3 + 3 + 4 * 256 + 2);
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

TEST_F(EndToEndTest, LeavesWhatItCannotOpen) {
  gsync("/none");
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("Failed to open nonvolatile:/none/vrrp-cfg_runtime_config: no such store")));

  create(running, configuration(256, false));
  const pss_service_t other = open(running);
  gsync();
  EXPECT_THAT(log.lines().back(), HasSubstr("in use"));
  EXPECT_EQ(pss_close(other), 0u);

  std::string damaged = content(running);
  damaged[damaged.find(std::string(76, 'o'))] ^= 1;
  write(running, damaged);
  EXPECT_EQ(gsync(), 0u);
  EXPECT_THAT(log.lines().back(), HasSubstr("the store is damaged"));
  EXPECT_EQ(content(running), damaged) << "a store that would lose a record does not even start to be converted";
}

TEST_F(EndToEndTest, LeaksNoDescriptor) {
  const auto open_files = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  create(running, configuration(256, false));
  gsync();
  const auto before = open_files();
  for (int round = 0; round < 20; ++round) {
    set_releases(round % 2 == 0 ? "4.1(2)" : "4.2(1)", round % 2 == 0 ? "4.2(1)" : "4.1(2)");
    gsync(round % 5 == 0 ? "/none" : "/d");
  }
  EXPECT_EQ(open_files(), before);
}

}  // namespace
