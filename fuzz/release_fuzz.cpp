// The text of a version file, as it is brought to its normal form and read again.

#include "fuzz/conversion.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(std::string(reinterpret_cast<const char*>(data), size).c_str());
  ScriptedPlatform::reset();
  ScriptedPlatform::get().version_files["file"] = text;
  char found[VRRP_CNV_VERSION_TEXT_MAX];
  vrrp_mgr_get_corrected_pkg_ver("", "file", found);

  int32 numbers[3];
  EXPECT_EQ(vrrp_mgr_split_version(found, &numbers[0], &numbers[1], &numbers[2]), 3);
  char again[VRRP_CNV_VERSION_TEXT_MAX];
  snprintf(again, sizeof again, "%d.%d(%d)", numbers[0], numbers[1], numbers[2]);
  EXPECT_STREQ(again, found);
  forget();
  return 0;
}
