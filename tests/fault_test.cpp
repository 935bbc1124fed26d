// Every call that the library makes to the platform or for memory fails, one after the other: what it does then is
// compared with the model, call by call and line by line.

#include <set>

#include "tests/library_test.h"
#include "tests/model.h"

namespace {

std::set<void*> arrays;  // handed out and not released

}  // namespace

extern "C" {
void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size) {
  if (ScriptedPlatform::get().enter("calloc", std::to_string(count) + " " + std::to_string(size))) return nullptr;
  void* array = __real_calloc(count, size);
  arrays.insert(array);
  return array;
}
void __real_free(void* memory);
void __wrap_free(void* memory) {
  arrays.erase(memory);
  __real_free(memory);
}
}

namespace {

// What is left of a run: calls, trace lines and result in their order, and the stores.
struct Outcome {
  std::vector<std::string> events;
  std::map<Bytes, Bytes> records, snapshot;
  int stores_open, failures;
};

struct Scenario {
  const char* name;
  bool old_layout;
  std::function<void()> library, model;
};

void add_event(const std::string& name, int64_t result) {
  TraceLog::events.push_back(name + " " + std::to_string(result));
}

void add_read(const model::Read& read) {
  add_event("result", read.result);
  add_event("count", read.count);
  for (const Bytes& element : read.elements) TraceLog::events.push_back(to_hex(element));
}

void read_with_library(const std::function<int32(void**, int32*)>& reader, size_t size) {
  void* array = nullptr;
  model::Read read = {0, -1, {}};
  read.result = reader(&array, &read.count);
  EXPECT_TRUE(array == nullptr || (read.result == 0 && read.count > 0));
  for (int32 i = 0; array != nullptr && i < read.count; ++i) {
    read.elements.push_back(Bytes(static_cast<char*>(array) + static_cast<size_t>(i) * size, size));
  }
  free(array);
  add_read(read);
}

const Scenario scenarios[] = {
    {"upgrade", true, [] { add_event("result", vrrp_mgr_handle_generic_convert("/d", "", "t", "f", 2)); },
     [] { add_event("result", model::drive("/d", "t", "f", 2)); }},
    {"downgrade", false, [] { add_event("result", vrrp_mgr_handle_generic_convert("/d", "", "t", "f", 2)); },
     [] { add_event("result", model::drive("/d", "t", "f", 2)); }},
    {"startup", true, [] { add_event("result", vrrp_mgr_handle_generic_convert("/vdc_3/bin", "", "t", "f", 1)); },
     [] { add_event("result", model::drive("/vdc_3/bin", "t", "f", 1)); }},
    {"removal", true, [] { add_event("result", vrrp_delete_rc_pss_recs_for_upgrade(7)); },
     [] { add_event("result", model::remove_records(7)); }},
    {"copy", false, [] { add_event("result", vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(8, 9)); },
     [] { add_event("result", model::copy_records(8, 9)); }},
    {"manager reader", false,
     [] {
       read_with_library([](void** array, int32* n) { return pss_get_table(7, VRRP_PSS_KEY_IP_ASSOC, array, n, 60); },
                         60);
     },
     [] { add_read(model::pss_get_table(7, 2, 60)); }},
    {"engine reader", false,
     [] { read_with_library([](void** array, int32* n) { return pss_eng_get_table(7, array, n, 5, 1); }, 5); },
     [] { add_read(model::pss_eng_get_table(7, 5, 1)); }},
    {"engine reader, unknown kind", false,
     [] { read_with_library([](void** array, int32* n) { return pss_eng_get_table(7, array, n, 5, 3); }, 5); },
     [] { add_read(model::pss_eng_get_table(7, 5, 3)); }},
};

class FaultTest : public LibraryTest {
 protected:
  FaultTest() {
    open_log();
    log_fd_ = trace_fd;
    TraceLog::broken = true;  // the lines are compared as they are written, none needs to reach the disk
  }

  Outcome run(const Scenario& scenario, const std::function<void()>& work, bool log_is_open, const Failure& failure) {
    ScriptedPlatform::reset();
    trace_fd = log_is_open ? log_fd_ : -1;
    set_releases(scenario.old_layout ? "4.1(2)" : "4.2(1)", scenario.old_layout ? "4.2(1)" : "4.1(2)");
    platform.records = sample_store(scenario.old_layout);
    platform.records.insert({{"AFKa", "one"}, {"AFKTrack", "two"}, {"AFKz", ""}});
    platform.failures = {failure};
    TraceLog::events.clear();
    work();
    return {TraceLog::events, platform.records, platform.snapshot, platform.stores_open, platform.failures_fired};
  }

  // Lets the first, second, third ... call fail until a run has none left to fail. Returns how many there were.
  int fail_each(const Scenario& scenario, bool log_is_open, Failure failure) {
    for (failure.nth = 1;; ++failure.nth) {
      const Outcome expected = run(scenario, scenario.model, log_is_open, failure);
      const Outcome found = run(scenario, scenario.library, log_is_open, failure);
      EXPECT_EQ(found.events, expected.events);
      EXPECT_EQ(found.records, expected.records);
      EXPECT_EQ(found.snapshot, expected.snapshot);
      EXPECT_EQ(found.stores_open, 0) << "closed once, whatever happened";
      EXPECT_EQ(arrays, std::set<void*>()) << "released, whatever happened";
      if (found.failures == 0 || HasFailure()) return failure.nth - 1;
    }
  }

  int log_fd_;
};

TEST_F(FaultTest, EveryCallFailsInEveryWay) {
  const std::vector<Failure> statuses = {{"", 0, 0x9ABCDEF0}, {"", 0, SYSERR_PSS_NOKEY}};
  const std::vector<Failure> data = {{"", 0, 0x9ABCDEF0, true},
                                     {"", 0, 0x9ABCDEF0, false},
                                     {"", 0, 0, true},
                                     {"", 0, SYSERR_PSS_NOKEY, true},
                                     {"", 0, SYSERR_PSS_NOKEY, false}};
  const std::map<std::string, std::vector<Failure>> operations = {
      {"pss_open", data},        {"pss_close", statuses},
      {"pss_move2key", data},    {"pss_move2location", data},
      {"pss_getvalue", data},    {"pss_store", statuses},
      {"pss_delete", statuses},  {"pss_snapshot", statuses},
      {"calloc", {statuses[0]}}, {"srg_sw_ver_file_get", {statuses[0]}}};
  int points = 0;
  for (const Scenario& scenario : scenarios) {
    for (const auto& [operation, failures] : operations) {
      for (Failure failure : failures) {
        failure.operation = operation;
        for (const int run : {0, 1, 2, 3}) {
          failure.persistent = run % 2 == 1;
          SCOPED_TRACE(std::string(scenario.name) + ", " + operation + " status " + std::to_string(failure.status) +
                       (failure.null ? ", null" : "") + (failure.persistent ? ", persistently" : ""));
          points += fail_each(scenario, run < 2, failure);
          if (HasFailure()) return;
        }
      }
    }
  }
  std::cout << "fault points of the library: " << points << std::endl;
  EXPECT_GT(points, 1000);
}

}  // namespace
