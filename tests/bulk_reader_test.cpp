// The bulk readers: what they read, and what becomes of each failure. Both readers stand the same tests.

#include <set>

#include "tests/library_test.h"

using testing::ElementsAre;

// Lets an allocation that cannot succeed return null under AddressSanitizer too, as it does everywhere else.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

struct Result {
  int32 result;
  int32 count;
  std::vector<std::string> elements;  // empty when no array was handed over
  bool handed_over;
};

struct Reader {
  const char* name;
  const char* first_move;                 // what each of its passes starts with
  std::set<int> moves_that_find_nothing;  // which calls of pss_move2location, on its sample store
  std::function<int32(void**, int32*, int32)> read;
};

// In both sample stores "one", "two" and "three" are the records of the kind that is read, at places 2, 3 and 5.
const std::map<Bytes, Bytes> manager_records = {{hex("00"), "before"},
                                                {hex("0101"), "one"},
                                                {hex("0102"), "two"},
                                                {hex("0103ff"), "three"},
                                                {hex("0201"), "other"}};
const std::map<Bytes, Bytes> engine_records = {{"AF", "short"}, {"AFKTrac", "one"}, {"AFKTrack1", "track"},
                                               {"AFKb", "two"}, {"AFKc", "three"},  {"AGK", "other"}};

class BulkReaderTest : public LibraryTest, public testing::WithParamInterface<Reader> {
 protected:
  BulkReaderTest() {
    platform.records = std::string(GetParam().name) == "pss_get_table" ? manager_records : engine_records;
  }

  Result read(int32 value_size) {
    char untouched;
    void* array = &untouched;
    int32 count = -7;
    const int32 result = GetParam().read(&array, &count, value_size);
    Result found = {result, count, {}, array != &untouched};
    if (!found.handed_over) return found;
    for (int32 i = 0; i < count; ++i) {
      found.elements.push_back(Bytes(static_cast<char*>(array) + i * value_size, static_cast<size_t>(value_size)));
    }
    free(array);
    return found;
  }
};

TEST_P(BulkReaderTest, ReadsTheRecordsOfItsKindInKeyOrder) {
  const Result exact = read(3);
  EXPECT_EQ(exact.result, 0);
  EXPECT_THAT(exact.elements, ElementsAre("one", "two", "thr"));
  EXPECT_GE(platform.counts[GetParam().first_move], 2) << "two passes";
  EXPECT_EQ(platform.counts["pss_getvalue"], 3);
}

TEST_P(BulkReaderTest, FillsUpShortValuesWithZeroBytes) {
  EXPECT_THAT(read(5).elements, ElementsAre(Bytes("one\0\0", 5), Bytes("two\0\0", 5), "three"));
}

TEST_P(BulkReaderTest, FindsNothing) {
  platform.records = {{"", "an empty key"}, {hex("03"), "x"}, {"AFJ", "y"}};
  for (int round = 0; round < 2; ++round) {
    const Result none = read(5);
    EXPECT_EQ(none.result, 0);
    EXPECT_EQ(none.count, 0);
    EXPECT_FALSE(none.handed_over);
    platform.records.clear();
  }
}

TEST_P(BulkReaderTest, NeverWritesPastTheCountedNumber) {
  // Two records join between the passes: before and behind the counted ones.
  const std::string first_move = GetParam().first_move;
  const bool is_engine = first_move == "pss_move2location";
  platform.before_call = [&](const std::string& operation, int nth) {
    // The engine reader's counting pass makes 1 + 6 moves; its second pass starts with the eighth.
    if (operation != first_move || nth != (is_engine ? 8 : 2)) return;
    platform.records[is_engine ? "AFKaa" : hex("010100")] = "new";
    platform.records[is_engine ? "AFKd" : hex("0104")] = "last";
  };
  const Result found = read(5);
  EXPECT_EQ(found.result, 0);
  EXPECT_THAT(found.elements, ElementsAre(Bytes("one\0\0", 5), Bytes("new\0\0", 5), Bytes("two\0\0", 5)));
  EXPECT_EQ(platform.counts["pss_getvalue"], 5);
}

TEST_P(BulkReaderTest, AnswersEveryFailingValue) {
  const struct {
    syserr_t status;
    bool null;
    int32 result;
  } cases[] = {{0x99, true, 0x99}, {0x99, false, 0x99}, {SYSERR_PSS_NOKEY, false, 1078460419}, {0, true, 2}};
  for (const auto& c : cases) {
    for (int nth = 1; nth <= 3; ++nth) {
      platform.counts.clear();
      platform.failures = {{"pss_getvalue", nth, c.status, c.null}};
      const Result failed = read(5);
      EXPECT_EQ(failed.result, c.result);
      EXPECT_EQ(failed.count, 3);
      EXPECT_FALSE(failed.handed_over);
      EXPECT_EQ(platform.counts["pss_getvalue"], nth) << "nothing is retried, nothing read after the failure";
    }
  }
}

TEST_P(BulkReaderTest, AnswersAnAllocationThatFails) {
  const Result failed = read(-1);  // no allocation of elements of 2^32 - 1 bytes or more can succeed
  EXPECT_EQ(failed.result, VRRP_CNV_ERR_NO_MEMORY);
  EXPECT_EQ(failed.count, 3);
  EXPECT_FALSE(failed.handed_over);
}

// A move that gives a key with a bad status ends the read; one that gives none ends its pass, whatever the status.
TEST_P(BulkReaderTest, AnswersEveryFailingMove) {
  read(5);
  const int moves = platform.counts["pss_move2location"];
  for (int nth = 1; nth <= moves; ++nth) {
    SCOPED_TRACE(nth);
    const bool finds_nothing = GetParam().moves_that_find_nothing.count(nth) == 1;
    platform.counts.clear();
    platform.failures = {{"pss_move2location", nth, 0x99, false}};
    const Result failed = read(5);
    EXPECT_EQ(failed.result, finds_nothing ? 0 : 0x99);
    EXPECT_EQ(failed.elements.size(), finds_nothing ? 3u : 0u);
    const bool is_counted = nth > moves / 2;
    EXPECT_EQ(failed.count, finds_nothing || is_counted ? 3 : 0);

    platform.counts.clear();
    platform.failures = {{"pss_move2location", nth, 0x99, true}};
    const Result ended = read(5);
    EXPECT_EQ(ended.result, 0);
    EXPECT_EQ(ended.elements.size(), static_cast<size_t>(ended.count));
  }
  EXPECT_EQ(platform.failures_fired, 2 * moves);
}

void PrintTo(const Reader& reader, std::ostream* stream) { *stream << reader.name; }

INSTANTIATE_TEST_SUITE_P(Readers, BulkReaderTest,
                         testing::Values(Reader{"pss_get_table",
                                                "pss_move2key",
                                                {7},
                                                [](void** array, int32* count, int32 size) {
                                                  return pss_get_table(7, VRRP_PSS_KEY_VR, array, count, size);
                                                }},
                                         Reader{"pss_eng_get_table",
                                                "pss_move2location",
                                                {7, 14},
                                                [](void** array, int32* count, int32 size) {
                                                  return pss_eng_get_table(7, array, count, size, VRRP_RI_PSS_KEY_VR);
                                                }}),
                         [](const auto& reader) { return reader.param.name; });

class ManagerReaderTest : public LibraryTest {
 protected:
  int32 read(void** array, int32* count) { return pss_get_table(7, VRRP_PSS_KEY_VR, array, count, 5); }
};

// The first positioning looks at its status before its key, the second one the other way round.
TEST_F(ManagerReaderTest, JudgesItsTwoPositioningsDifferently) {
  platform.records = manager_records;
  void* array = nullptr;
  int32 count;
  platform.failures = {{"pss_move2key", 1, 0x99, true}};
  EXPECT_EQ(read(&array, &count), 0x99);
  EXPECT_EQ(array, nullptr);

  platform.counts.clear();
  platform.failures = {{"pss_move2key", 2, 0x99, true}};
  EXPECT_EQ(read(&array, &count), 0);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(Bytes(static_cast<char*>(array), 15), Bytes(15, '\0')) << "handed over unfilled";
  free(array);
}

class EngineReaderTest : public LibraryTest {};

TEST_F(EngineReaderTest, TellsTracksByTheirKeys) {
  platform.records = engine_records;
  void* array = nullptr;
  int32 count;
  ASSERT_EQ(pss_eng_get_table(7, &array, &count, 5, VRRP_RI_PSS_KEY_TRACK), 0);
  ASSERT_EQ(count, 1);
  EXPECT_EQ(Bytes(static_cast<char*>(array), 5), "track");
  free(array);
}

TEST_F(EngineReaderTest, TracesEachRecordOfAnUnknownKind) {
  platform.records = engine_records;
  open_log();
  void* array = nullptr;
  int32 count;
  EXPECT_EQ(pss_eng_get_table(7, &array, &count, 5, 3), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(array, nullptr);
  EXPECT_THAT(lines(), testing::Each("pss_eng_get_table Unrecognized PSS record type"));
  EXPECT_EQ(lines().size(), 4u);
}

}  // namespace
