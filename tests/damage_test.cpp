// Damaged store files. pss_open refuses a file with SYSERR_PSS_DAMAGED or SYSERR_PSS_NOT_A_STORE, or its records and
// the converted records equal those of the intact file. DAMAGED_STORES sets the number of files, divided equally among
// the kinds of damage.

#include <sys/wait.h>

#include <random>

#include "libconvertvrrp.h"
#include "tests/configuration.h"
#include "tests/embedded_store.h"

namespace {

constexpr size_t page = 8192;  // page size of the platform; DamageTest verifies it
constexpr char store[] = "d/vrrp-cfg_runtime_config";

// A store file to damage, with its own seed.
struct File {
  std::string bytes;         // initially of the intact store
  const std::string& other;  // another state of the same store
  std::mt19937 random;

  size_t below(size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(random); }
  size_t any_page() { return below(bytes.size() / page) * page; }
  void flip() { bytes.at(below(bytes.size())) ^= static_cast<char>(1 << below(8)); }
  std::string random_bytes(size_t size) {
    std::string result(size, '\0');
    for (char& byte : result) byte = static_cast<char>(random());
    return result;
  }
  void swap_pages() {
    const size_t one = any_page(), another = any_page();
    const std::string kept = bytes.substr(one, page);
    bytes.replace(one, page, bytes, another, page).replace(another, page, kept);
  }
  void take_page_of_other() {
    const size_t start = below(other.size() / page) * page;
    bytes.replace(start, page, other, start, page);
  }
};

enum Expected { harmless, refused, either };

const struct {
  const char* name;
  Expected expected;
  void (*apply)(File& file);
} damages[] = {{"one bit", either, [](File& file) { file.flip(); }},
               {"cut tail", refused, [](File& file) { file.bytes.resize(file.below(file.bytes.size())); }},
               {"random bytes after the end", harmless,
                [](File& file) { file.bytes += file.random_bytes(1 + file.below(2 * page)); }},
               {"zeroed page", either, [](File& file) { file.bytes.replace(file.any_page(), page, page, '\0'); }},
               {"swapped pages", either, [](File& file) { file.swap_pages(); }},
               {"stale page", either, [](File& file) { file.take_page_of_other(); }},
               {"256 random bytes", either, [](File& file) {
                  file.bytes.replace(file.below(file.bytes.size() / 256) * 256, 256, file.random_bytes(256));
                }}};

class DamageTest : public EmbeddedStoreTest {
 protected:
  DamageTest() : original_(configuration(100, false)) {
    set_up_device("4.2(1)", "4.1(2)");
    create(store, original_);
    sound_ = content(store);
    EXPECT_EQ(sound_.substr(16, 2), hex("2000")) << "the page size in the header";
    const pss_service_t table = open(store);
    for (const auto& [key, value] : original_) EXPECT_EQ(put(table, key, value + "later"), 0u);
    for (const auto& [key, value] : original_) EXPECT_EQ(put(table, key, value), 0u);
    EXPECT_EQ(remove(table, "Zebra"), 0u);
    EXPECT_EQ(pss_close(table), 0u);
    other_ = content(store);
  }

  // Opens, checks and converts a store with these bytes, and verifies the results. Returns whether pss_open refused it.
  bool is_refused(const std::string& damaged) {
    write(store, damaged);
    const int checked = system(("'" VRRPCONVERT "' check " + file(store) + " >/dev/null 2>&1").c_str());
    syserr_t status;
    const pss_service_t table = pss_open(url(store).c_str(), &status);
    if (table != 0) {
      EXPECT_TRUE(records(table) == original_);
      EXPECT_EQ(pss_close(table), 0u);
    }
    EXPECT_EQ(vrrp_mgr_handle_generic_convert("/d", "", "", "", VRRP_CONVERT_GSYNC), 0u);
    if (table != 0) {
      EXPECT_EQ(WEXITSTATUS(checked), 0);
      EXPECT_TRUE(records(store) == configuration(100, true));
      return false;
    }
    EXPECT_TRUE(status == SYSERR_PSS_DAMAGED || status == SYSERR_PSS_NOT_A_STORE);
    EXPECT_EQ(WEXITSTATUS(checked), 3);
    EXPECT_TRUE(content(store) == damaged) << "a refused store was changed";
    return true;
  }

  const Records original_;
  std::string sound_, other_;
};

TEST_F(DamageTest, IsRefusedOrChangesNoRecord) {
  const char* setting = getenv("DAMAGED_STORES");
  const int of_each_kind = (setting != nullptr ? atoi(setting) : 260) / static_cast<int>(std::size(damages));
  ASSERT_GT(of_each_kind, 0);
  for (const auto& damage : damages) {
    int count = 0;
    for (int seed = 0; seed < of_each_kind; ++seed) {
      SCOPED_TRACE(std::string(damage.name) + ", seed " + std::to_string(seed));
      File damaged = {sound_, other_, std::mt19937(static_cast<unsigned>(seed))};
      damage.apply(damaged);
      count += is_refused(damaged.bytes) ? 1 : 0;
      if (HasFailure()) return;
    }
    std::cout << damage.name << ": " << count << " of " << of_each_kind << " refused, the others harmless" << std::endl;
    EXPECT_TRUE(damage.expected != harmless || count == 0);
    EXPECT_TRUE(damage.expected != refused || count == of_each_kind);
  }
}

// The file contains the bytes of each record, the value directly after the key.
TEST_F(DamageTest, RefusesEveryFlippedBitOfKeysAndValues) {
  size_t bits = 0;
  for (const auto& [key, value] : configuration(3, false)) {
    const size_t start = sound_.find(key + value), size = key.size() + value.size();
    ASSERT_NE(start, std::string::npos);
    for (size_t bit = 0; bit < 8 * size; ++bit, ++bits) {
      std::string damaged = sound_;
      damaged[start + bit / 8] ^= static_cast<char>(1 << bit % 8);
      write(store, damaged);
      open(store, SYSERR_PSS_DAMAGED);
    }
  }
  std::cout << "bits of keys and values: " << bits << ", all refused" << std::endl;
}

}  // namespace
