// The platform operations other than the store.

#include <sys/stat.h>

#include <set>

#include "platform/if_index.h"
#include "platform/srg_sw_ver.h"
#include "tests/embedded_store.h"

namespace {

class PlatformTest : public EmbeddedStoreTest {};

TEST_F(PlatformTest, EveryStatusHasATextOfItsOwn) {
  std::set<std::string> texts;
  std::vector<syserr_t> statuses = {0, SYSERR_PSS_NOKEY, SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID};
  for (syserr_t status = SYSERR_PSS_NO_STORE; status <= SYSERR_PSS_TOO_LARGE; ++status) statuses.push_back(status);
  for (const syserr_t status : statuses) {
    EXPECT_EQ(std::string(syserr2str(status)).find("unknown status"), std::string::npos) << std::hex << status;
    texts.insert(syserr2str(status));
  }
  EXPECT_EQ(texts.size(), statuses.size());
  EXPECT_STREQ(syserr2str(0xfedcba98), "unknown status 0xfedcba98");
}

TEST_F(PlatformTest, InterfaceIndexesAreInNetworkOrder) {
  const uint32 index = hton_if_index(0x01020304);
  EXPECT_EQ(to_hex(bytes_of(pss_datum_t{const_cast<uint32*>(&index), 4})), "01020304");
}

TEST_F(PlatformTest, VersionFilesAreReadBounded) {
  write("version", "4.2(1)\n");
  EXPECT_STREQ(srg_sw_ver_file_get(file("version").c_str()), "4.2(1)\n");
  write("longest", std::string(511, '7'));
  EXPECT_EQ(srg_sw_ver_file_get(file("longest").c_str()), std::string(511, '7'));
  write("nul", std::string("4.2(1\0005)", 8));
  write("long", "4.2(" + std::string(507, '0') + "1)");
  write("empty", "");
  EXPECT_STREQ(srg_sw_ver_file_get(file("empty").c_str()), "");
  mkfifo(file("fifo").c_str(), 0600);
  for (const std::string& none : {file("absent"), root, file("fifo"), file("long"), file("nul")}) {
    EXPECT_EQ(srg_sw_ver_file_get(none.c_str()), nullptr) << none;
  }
  EXPECT_EQ(srg_sw_ver_file_get(nullptr), nullptr);
}

}  // namespace
