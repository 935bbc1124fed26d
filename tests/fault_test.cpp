// Failing calls: each call of the library to the platform, to allocate memory, or to one of its handlers. golden/faults
// contains the trace of each failure. Every failure is also checked for the guarantees that do not depend on it.

#include <set>

#include "tests/library_test.h"

namespace {

std::set<void*> arrays;  // allocated and not released
bool memory_is_short = false;

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
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return memory_is_short ? nullptr : __real_malloc(size); }

syserr_t __real_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string);
syserr_t __wrap_vrrp_mgr_handle_upgrade_to_4_2_1(pss_service_t table, uint32 type, const char* vdc_string) {
  const auto failure = ScriptedPlatform::get().enter("handler", "");
  return failure ? failure->status : __real_vrrp_mgr_handle_upgrade_to_4_2_1(table, type, vdc_string);
}
syserr_t __real_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine);
syserr_t __wrap_vrrp_mgr_handle_downgrade_from_4_2_1(pss_service_t manager, pss_service_t engine) {
  const auto failure = ScriptedPlatform::get().enter("handler", "");
  return failure ? failure->status : __real_vrrp_mgr_handle_downgrade_from_4_2_1(manager, engine);
}
}

namespace {

void add_event(const std::string& name, int64_t result) {
  TraceLog::events.push_back(name + " " + std::to_string(result));
}

void read(const std::function<int32(void**, int32*)>& reader, size_t size) {
  void* array = nullptr;
  int32 count = -1;
  const int32 result = reader(&array, &count);
  EXPECT_TRUE(array == nullptr || (result == 0 && count > 0));
  for (int32 i = 0; array != nullptr && i < count; ++i) {
    TraceLog::events.push_back(to_hex(Bytes(static_cast<char*>(array) + static_cast<size_t>(i) * size, size)));
  }
  free(array);
  add_event("count", count);
  add_event("result", result);
}

const struct Scenario {
  std::string name;
  bool old_layout;
  std::function<void()> run;
} scenarios[] = {
    {"upgrade", true, [] { add_event("result", vrrp_mgr_handle_generic_convert("/d", "", "t", "f", 2)); }},
    {"downgrade", false, [] { add_event("result", vrrp_mgr_handle_generic_convert("/d", "", "t", "f", 2)); }},
    {"startup", true, [] { add_event("result", vrrp_mgr_handle_generic_convert("/vdc_3/bin", "", "t", "f", 1)); }},
    {"removal", true, [] { add_event("result", vrrp_delete_rc_pss_recs_for_upgrade(7)); }},
    {"copy", false, [] { add_event("result", vrrp_mgr_copy_and_convert_rc_pss_recs_for_downgrade(8, 9)); }},
    {"manager reader", false,
     [] { read([](void** array, int32* n) { return pss_get_table(7, VRRP_PSS_KEY_IP_ASSOC, array, n, 60); }, 60); }},
    {"engine reader", false,
     [] { read([](void** array, int32* n) { return pss_eng_get_table(7, array, n, 5, VRRP_RI_PSS_KEY_VR); }, 5); }}};

class FaultTest : public LibraryTest {
 protected:
  FaultTest() {
    open_log();
    log_fd_ = trace_fd;
    TraceLog::broken = true;  // skip the write and the sync of each line
  }
  ~FaultTest() override { memory_is_short = false; }

  void run(const Scenario& scenario, const std::vector<Failure>& failures, bool log_is_open = true) {
    ScriptedPlatform::reset();
    trace_fd = log_is_open ? log_fd_ : -1;
    set_releases(scenario.old_layout ? "4.1(2)" : "4.2(1)", scenario.old_layout ? "4.2(1)" : "4.1(2)");
    platform.records = sample_store(scenario.old_layout);
    platform.records.insert({{"AFKa", "one"}, {"AFKTrack", "two"}, {"AFKz", ""}});
    platform.failures = failures;
    TraceLog::events.clear();
    scenario.run();
    EXPECT_EQ(platform.stores_open, 0) << "the store was not closed exactly once";
    EXPECT_EQ(arrays, std::set<void*>()) << "an array leaked";
  }

  std::vector<std::string> calls_without_texts() const {
    auto calls = platform.calls;
    std::erase(calls, "syserr2str");
    return calls;
  }

  // Returns the original records that are not in their expected state.
  int count_unconverted(const std::map<Bytes, Bytes>& before, const std::map<Bytes, Bytes>& after) const {
    const auto value_in = [](const std::map<Bytes, Bytes>& records, const Bytes& key) {
      const auto at = records.find(key);
      return at != records.end() ? std::optional(at->second) : std::nullopt;
    };
    int count = 0;
    for (const auto& [key, value] : before) {
      const auto found = value_in(platform.records, key);
      if (found == value_in(after, key)) continue;
      EXPECT_EQ(found, value) << "a record is neither unchanged nor converted";
      ++count;
    }
    return count;
  }

  // Fails the first, second, third ... call until a run has fewer calls. Returns the number of calls.
  int fail_each(const Scenario& scenario, Failure failure) {
    run(scenario, {});
    const auto converted = platform.records;
    for (failure.nth = 1; failure.nth < 1000; ++failure.nth) {
      run(scenario, {failure}, false);
      const auto calls = calls_without_texts();
      run(scenario, {failure});
      EXPECT_EQ(calls_without_texts(), calls) << "the trace changes no call";
      const auto before = sample_store(scenario.old_layout);
      EXPECT_TRUE(platform.snapshot.empty() || platform.snapshot.size() == before.size() + 3);
      const int unconverted = count_unconverted(before, converted);
      EXPECT_TRUE(unconverted <= 1 || failure.persistent ||
                  (failure.operation != "pss_store" && failure.operation != "pss_delete"))
          << "a failed record stopped others";
      if (platform.failures_fired == 0 || HasFailure()) return failure.nth - 1;
    }
    ADD_FAILURE() << "the calls do not end";
    return 0;
  }

  // Returns the calls that change records, and the trace lines.
  std::vector<std::string> outcome(const Scenario& scenario, const std::vector<Failure>& failures) {
    run(scenario, failures);
    auto events = TraceLog::events;
    std::erase_if(events, [](const std::string& event) {
      return event.starts_with("pss_move") || event.starts_with("pss_getvalue") || event.starts_with("calloc") ||
             event == "syserr2str";
    });
    return events;
  }

  // Returns the effect of a failure on the events: the number of missing events, and the new events.
  std::string difference(const Scenario& scenario, const Failure& failure) {
    const auto usual = outcome(scenario, {}), found = outcome(scenario, {failure});
    const auto [usual_at, found_at] = std::mismatch(usual.begin(), usual.end(), found.begin(), found.end());
    const auto [usual_end, found_end] = std::mismatch(usual.rbegin(), std::make_reverse_iterator(usual_at),
                                                      found.rbegin(), std::make_reverse_iterator(found_at));
    const auto missing = usual_end.base() - usual_at;
    std::string text = missing > 0 ? "- " + std::to_string(missing) + "\n" : "";
    for (auto event = found_at; event < found_end.base(); ++event) text += "+ " + *event + "\n";
    return text;
  }

  int log_fd_;
};

TEST_F(FaultTest, WritesItsTraceLine) {
  std::istringstream cases(golden("faults"));
  std::string found;
  for (std::string line; std::getline(cases, line);) {
    char name[50], operation[50], null[5] = "";
    Failure failure;
    if (sscanf(line.c_str(), "# %49[^:]: %49s %d answers %x %4s", name, operation, &failure.nth, &failure.status,
               null) < 4)
      continue;
    failure.operation = operation;
    failure.null = *null != '\0';
    const auto scenario = std::find_if(std::begin(scenarios), std::end(scenarios),
                                       [&](const Scenario& candidate) { return candidate.name == name; });
    ASSERT_NE(scenario, std::end(scenarios)) << line;
    found += line + "\n" + difference(*scenario, failure);
  }
  EXPECT_EQ(found, golden("faults"));
}

TEST_F(FaultTest, LeavesEveryRecordOldOrNew) {
  int points = 0;
  for (const Scenario& scenario : scenarios) {
    for (const char* operation :
         {"pss_open", "pss_close", "pss_move2key", "pss_move2location", "pss_getvalue", "pss_store", "pss_delete",
          "pss_snapshot", "calloc", "handler", "srg_sw_ver_file_get"}) {
      for (const syserr_t status : {0u, 0x9ABCDEF0u, SYSERR_PSS_NOKEY}) {
        for (const int way : {0, 1, 2, 3}) {
          const Failure failure = {operation, 0, status, way % 2 == 1, way > 1};
          if (status == 0 && !failure.null) continue;
          SCOPED_TRACE(scenario.name + ", " + operation + " status " + std::to_string(status) +
                       (failure.null ? ", null" : "") + (failure.persistent ? ", persistently" : ""));
          points += fail_each(scenario, failure);
          if (HasFailure()) return;
        }
      }
    }
  }
  std::cout << "fault points of the library: " << points << std::endl;
  EXPECT_GT(points, 1000);
}

TEST_F(FaultTest, MakesNoKeyWithoutMemory) {
  char* key = reinterpret_cast<char*>(this);
  memory_is_short = true;
  EXPECT_EQ(make_afk_key(&key, key, 4), VRRP_CNV_ERR_NO_MEMORY);
  EXPECT_EQ(key, reinterpret_cast<char*>(this));
}

}  // namespace
