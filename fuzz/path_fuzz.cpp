// The store's path with the VDC in it, and the VDC of a global synchronisation. First byte: the kind of conversion.

#include "fuzz/conversion.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 700) return 0;
  const uint32 type = data[0] % 4;
  const std::string text(std::string(reinterpret_cast<const char*>(data) + 1, size - 1).c_str());
  setenv("SYSMGR_VDC_ID", text.c_str(), 1);
  ScriptedPlatform platform;
  platform.version_files = {{"to", "4.2(1)"}, {"from", "4.1(2)"}};
  const syserr_t result = convert(platform, text, type);

  const std::string store = type == VRRP_CONVERT_STARTUP ? "/vrrp-cfg_config_sav" : "/vrrp-cfg_runtime_config";
  EXPECT_EQ(platform.calls_of("pss_open").front(), ("nonvolatile:" + text + store).substr(0, 255));
  if (type == VRRP_CONVERT_GSYNC) {
    const std::string vdc = text.substr(0, 6);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(platform.calls_of("pss_snapshot").front(), "7 0 nonvolatile:/tmp/vrrp-pss" + (vdc == "1" ? "" : vdc));
  } else {
    EXPECT_TRUE(result == 0 || (result == SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID && text.find("/vdc_") != text.npos));
    EXPECT_THAT(platform.calls, testing::ElementsAre(testing::_, testing::_, testing::_, "pss_close 7"));
  }
  forget();
  return 0;
}
