// Store files as failing disks, cut copies and mistakes leave them: each is refused with a clear status, or answers
// exactly as the sound one. DAMAGED_STORES sets how many there are.

#include <sqlite3.h>
#include <sys/wait.h>

#include <random>

#include "libconvertvrrp.h"
#include "tests/configuration.h"
#include "tests/embedded_store.h"

namespace {

constexpr size_t page = 4096;
constexpr char store[] = "d/vrrp-cfg_runtime_config";

using Random = std::mt19937;

size_t below(Random& random, size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(random); }

std::string noise(Random& random, size_t size) {
  std::string bytes;
  while (bytes.size() < size) bytes += static_cast<char>(random());
  return bytes;
}

size_t page_start(Random& random, const std::string& file) { return below(random, file.size() / page) * page; }

void flip(Random& random, std::string* file) {
  file->at(below(random, file->size())) ^= static_cast<char>(1 << below(random, 8));
}

enum Expected { harmless, refused, either };

struct Damage {
  const char* name;
  Expected expected;
  // Damages `file`; `other` is another state of the same store, `twin` a database with its tables but not of its
  // schema.
  void (*apply)(Random& random, std::string* file, const std::string& other, const std::string& twin);
};

const Damage damages[] = {
    {"untouched", harmless, [](Random&, std::string*, const std::string&, const std::string&) {}},
    {"one bit", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) { flip(random, file); }},
    {"many bits", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       for (size_t bits = 2 + below(random, 100); bits > 0; --bits) flip(random, file);
     }},
    {"cut tail", refused,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       file->resize(below(random, file->size()));
     }},
    {"noise behind the end", harmless,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       *file += noise(random, 1 + below(random, 2 * page));
     }},
    {"zeroed page", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       file->replace(page_start(random, *file), page, page, '\0');
     }},
    {"swapped pages", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       const size_t one = page_start(random, *file), other = page_start(random, *file);
       const std::string kept = file->substr(one, page);
       file->replace(one, page, *file, other, page).replace(other, page, kept);
     }},
    {"stale page", either,
     [](Random& random, std::string* file, const std::string& other, const std::string&) {
       const size_t start = page_start(random, other);
       file->replace(start, page, other, start, page);
     }},
    {"page of noise", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       file->replace(page_start(random, *file), page, noise(random, page));
     }},
    {"half a block of noise", either,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       file->replace(below(random, file->size() / 256) * 256, 256, noise(random, 256));
     }},
    {"foreign database", refused,
     [](Random& random, std::string* file, const std::string&, const std::string& twin) {
       *file = twin;
       for (size_t bits = below(random, 3); bits > 0; --bits) flip(random, file);
     }},
    {"another format", refused,
     [](Random& random, std::string* file, const std::string&, const std::string&) {
       static const char* heads[] = {"", "SQLite format 3", "\x1f\x8b", "{\"kind\":\"vr\"}\n", "\177ELF"};
       *file = heads[below(random, 5)] + noise(random, below(random, 3 * page));
     }},
    {"empty", refused, [](Random&, std::string* file, const std::string&, const std::string&) { file->clear(); }},
};

class DamageTest : public EmbeddedStoreTest {
 protected:
  DamageTest() : original_(configuration(100, false)) {
    std::filesystem::create_directory(file("d"));
    write("from", "4.2(1)");
    write("to", "4.1(2)");
    setenv("SYSMGR_TO_SRG_PATH", file("to").c_str(), 1);
    setenv("SYSMGR_FROM_SRG_PATH", file("from").c_str(), 1);
    create(store, original_);
    sound_ = content(store);
    const pss_service_t table = open(store);
    for (const auto& [key, value] : original_) EXPECT_EQ(put(table, key, value + "later"), 0u);
    for (const auto& [key, value] : original_) EXPECT_EQ(put(table, key, value), 0u);
    EXPECT_EQ(remove(table, "Zebra"), 0u);
    EXPECT_EQ(pss_close(table), 0u);
    other_ = content(store);
    sqlite3* database;
    EXPECT_EQ(sqlite3_open(file("twin").c_str(), &database), SQLITE_OK);
    EXPECT_EQ(
        sqlite3_exec(database,
                     "PRAGMA application_id=0x50535331; PRAGMA user_version=1; CREATE TABLE record(key, value, "
                     "checksum); CREATE TABLE digest(records, checksum); INSERT INTO record VALUES(x'01', x'02', 3)",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_close(database);
    twin_ = content("twin");
  }

  // The bytes of all values that a bulk reader gives, cut or filled up to the size of the new layout.
  static Bytes read(pss_service_t table, vrrp_pss_key_type_t type, int32 size) {
    void* array = nullptr;
    int32 count = 0;
    EXPECT_EQ(pss_get_table(table, type, &array, &count, size), 0);
    const Bytes bytes(static_cast<char*>(array), static_cast<size_t>(count) * static_cast<size_t>(size));
    free(array);
    return bytes;
  }

  // A store that opens answers everything as the sound one.
  void expect_sound(pss_service_t table) {
    Bytes expected_vr, expected_ip;
    for (const auto& [key, value] : original_) (key[0] == 1 ? expected_vr : expected_ip) += key[0] <= 2 ? value : "";
    EXPECT_TRUE(records(table) == original_);
    EXPECT_TRUE(read(table, VRRP_PSS_KEY_VR, 137) == expected_vr);
    EXPECT_TRUE(read(table, VRRP_PSS_KEY_IP_ASSOC, 53) == expected_ip);
    void* array = nullptr;
    int32 count = -1;
    EXPECT_EQ(pss_eng_get_table(table, &array, &count, 1, VRRP_RI_PSS_KEY_VR), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(pss_close(table), 0u);
  }

  // Returns whether the store is refused.
  bool is_refused(const std::string& damaged) {
    write(store, damaged);
    const int checked = system((VRRPCONVERT " check " + file(store) + " >/dev/null 2>&1").c_str());
    syserr_t status;
    const pss_service_t table = pss_open(url(store).c_str(), &status);
    if (table != 0) expect_sound(table);
    EXPECT_EQ(vrrp_mgr_handle_generic_convert("/d", "", "", "", VRRP_CONVERT_GSYNC), 0u);
    if (table != 0) {
      EXPECT_EQ(WEXITSTATUS(checked), 0);
      EXPECT_TRUE(records(store) == configuration(100, true));
      return false;
    }
    EXPECT_TRUE(status == SYSERR_PSS_DAMAGED || status == SYSERR_PSS_NOT_A_STORE);
    EXPECT_EQ(WEXITSTATUS(checked), 3);
    EXPECT_TRUE(content(store) == damaged) << "what is refused is not touched";
    return true;
  }

  const Records original_;
  std::string sound_, other_, twin_;
};

TEST_F(DamageTest, IsToldOrHarmless) {
  const char* setting = getenv("DAMAGED_STORES");
  const int of_each_kind = (setting != nullptr ? atoi(setting) : 260) / static_cast<int>(std::size(damages));
  for (const Damage& damage : damages) {
    int count = 0;
    for (int seed = 0; seed < of_each_kind; ++seed) {
      SCOPED_TRACE(std::string(damage.name) + ", seed " + std::to_string(seed));
      Random random(static_cast<unsigned>(seed));
      std::string damaged = sound_;
      damage.apply(random, &damaged, other_, twin_);
      count += is_refused(damaged) ? 1 : 0;
      if (HasFailure()) return;
    }
    std::cout << damage.name << ": " << count << " of " << of_each_kind << " refused, the others harmless" << std::endl;
    EXPECT_TRUE(damage.expected != harmless || count == 0);
    EXPECT_TRUE(damage.expected != refused || count == of_each_kind);
  }
}

// The bytes of each record lie in the file as they are, key and value one behind the other.
TEST_F(DamageTest, IsToldForEveryBitOfEveryKeyAndValue) {
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
