// The bulk readers. Both pass the same tests. fault_test.cpp tests their failures.

#include "tests/library_test.h"

using testing::ElementsAre;

namespace {

struct Result {
  int32 result;
  int32 count;
  std::vector<std::string> elements;  // empty if no array was returned
  bool handed_over;
};

struct Reader {
  const char* name;
  const char* first_move;  // first move of each pass
  std::function<int32(void**, int32*, int32)> read;
};

// In both sample stores the reader finds "one", "two" and "three". The key of "one" is only the prefix.
const std::map<Bytes, Bytes> manager_records = {
    {hex("00"), "before"}, {hex("01"), "one"}, {hex("0102"), "two"}, {hex("0103ff"), "three"}, {hex("0201"), "other"}};
const std::map<Bytes, Bytes> engine_records = {{"AF", "short"},       {"AFK", "one"},    {"AFKTrac", "two"},
                                               {"AFKTrack", "track"}, {"AFKc", "three"}, {"AGK", "other"}};

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
  EXPECT_THAT(read(5).elements, ElementsAre(Bytes("one\0\0", 5), Bytes("two\0\0", 5), "three")) << "zeros fill up";
}

TEST_P(BulkReaderTest, ReturnsZeroAndNoArrayWithoutRecords) {
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
  // Two records appear between the passes: before and after the counted ones.
  const std::string first_move = GetParam().first_move;
  const bool is_engine = first_move == "pss_move2location";
  platform.before_call = [&](const std::string& operation, int nth) {
    // The counting pass of the engine reader makes 1 + 6 moves; the second pass starts with the eighth.
    if (operation != first_move || nth != (is_engine ? 8 : 2)) return;
    platform.records[is_engine ? "AFKA" : hex("010100")] = "new";
    platform.records[is_engine ? "AFKd" : hex("0104")] = "last";
  };
  const Result found = read(5);
  EXPECT_EQ(found.result, 0);
  EXPECT_THAT(found.elements, ElementsAre(Bytes("one\0\0", 5), Bytes("new\0\0", 5), Bytes("two\0\0", 5)));
  EXPECT_EQ(platform.counts["pss_getvalue"], 5);
}

void PrintTo(const Reader& reader, std::ostream* stream) { *stream << reader.name; }

INSTANTIATE_TEST_SUITE_P(Readers, BulkReaderTest,
                         testing::Values(Reader{"pss_get_table", "pss_move2key",
                                                [](void** array, int32* count, int32 size) {
                                                  return pss_get_table(7, VRRP_PSS_KEY_VR, array, count, size);
                                                }},
                                         Reader{"pss_eng_get_table", "pss_move2location",
                                                [](void** array, int32* count, int32 size) {
                                                  return pss_eng_get_table(7, array, count, size, VRRP_RI_PSS_KEY_VR);
                                                }}),
                         [](const auto& reader) { return reader.param.name; });

class EngineReaderTest : public LibraryTest {};

TEST_F(EngineReaderTest, KnowsTracksByTheirKeysAndNoOtherKind) {
  platform.records = engine_records;
  void* array = nullptr;
  int32 count;
  EXPECT_EQ(pss_eng_get_table(7, &array, &count, 5, 3), 0);
  open_log();
  ASSERT_EQ(pss_eng_get_table(7, &array, &count, 5, VRRP_RI_PSS_KEY_TRACK), 0);
  ASSERT_EQ(count, 1);
  EXPECT_EQ(Bytes(static_cast<char*>(array), 5), "track");
  free(array);
  EXPECT_EQ(pss_eng_get_table(7, &array, &count, 5, 3), 0);
  EXPECT_EQ(count, 0);
  EXPECT_THAT(lines(),
              testing::ContainerEq(std::vector<std::string>(4, "pss_eng_get_table Unrecognized PSS record type")));
}

}  // namespace
