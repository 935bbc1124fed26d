// Keys, byte for byte. hton_if_index of the scripted platform also flips the top bit, so the key bytes of interface
// index 0x01020304 are 81 02 03 04.

#include <climits>

#include "tests/library_test.h"

namespace {

constexpr if_index_t ifindex = 0x01020304;

// Returns the bytes that a builder writes to a buffer of `size` bytes. It must not change the bytes after the buffer.
template <typename Build>
std::string built(size_t size, Build build) {
  uint8 buffer[64];
  memset(buffer, 0xAA, sizeof buffer);
  build(buffer);
  for (size_t i = size; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], 0xAA) << "byte " << i;
  return to_hex(Bytes(reinterpret_cast<char*>(buffer), size));
}

inet_addr_t ipv6_address() {
  inet_addr_t address;
  address.addr_type = INET_ADDR_TYPE_IPV6;
  for (uint8 i = 0; i < 16; ++i) address.a.ipv6_addr.s6_addr[i] = static_cast<uint8>(0xF0 + i);
  return address;
}

TEST(KeysTest, OfTheManagerStoreHaveTheDocumentedBytes) {
  const auto vr_key = [](vrrp_pss_key_type_t type) {
    return built(10, [type](uint8* key) { vrrp_make_vr_key(key, type, ifindex, 7, INET_ADDR_TYPE_IPV6); });
  };
  EXPECT_EQ(vr_key(VRRP_PSS_KEY_VR), "01000000020781020304");
  for (const uint8 other : {0, 3, 4, 6, 255}) EXPECT_EQ(vr_key(other), "aaaaaaaaaaaaaaaaaaaa") << "is not built";
  EXPECT_EQ(built(26, [](uint8* key) { vrrp_make_assoc_key(key, ifindex, 7, ipv6_address()); }),
            vr_key(VRRP_PSS_KEY_IP_ASSOC) + "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");
  EXPECT_EQ(built(14, [](uint8* key) { vrrp_make_track_key(key, ifindex, 7, INET_ADDR_TYPE_IPV6, 0x0A0B0C01); }),
            vr_key(VRRP_PSS_KEY_TRACK) + "0a0b0c01");
  EXPECT_EQ(vrrp_hton_addr_type(0x01020304), 0x04030201u);
}

TEST(KeysTest, OfTheEngineStoreHaveTheDocumentedBytes) {
  const std::string vr = "040302010702000000";
  EXPECT_EQ(built(9, [](uint8* key) { make_vr_key(key, ifindex, 7, 2); }), vr);
  EXPECT_EQ(vr, to_hex(bytes_of_record(vr_record(ifindex, 7, 2)).substr(0, 9))) << "as a record begins";
  EXPECT_EQ(built(14, [](uint8* key) { vrrp_make_vr_key_for_track(key, ifindex, 7, 2); }), "547261636b" + vr);
  EXPECT_EQ(built(18, [](uint8* key) { vrrp_make_ri_track_key(key, 7, ifindex, 2, 1); }),
            "547261636b" + vr + "01000000");
}

TEST(KeysTest, WithThePrefixAreReleasedByTheCaller) {
  for (const Bytes& rest : {Bytes(), Bytes("k"), Bytes("\0x", 2), Bytes(1000, 'k')}) {
    char* key = nullptr;
    ASSERT_EQ(
        make_afk_key(&key, rest.empty() ? nullptr : const_cast<char*>(rest.data()), static_cast<int32>(rest.size())),
        0);
    EXPECT_EQ(Bytes(key, rest.size() + 3), "AFK" + rest);
    free(key);
  }
}

TEST(KeysTest, OfNegativeSizeAreNotBuilt) {
  for (const int32 size : {-1, -3, -4, INT_MIN}) {
    char rest[] = "k", *key = rest;
    EXPECT_EQ(make_afk_key(&key, rest, size), VRRP_CNV_ERR_NO_MEMORY) << size;
    EXPECT_EQ(key, rest) << "is left as it was";
  }
}

}  // namespace
