// A configuration like that of a device: any number of VR configuration and IP association records, and records of
// kinds that a conversion does not change.
#ifndef TESTS_CONFIGURATION_H
#define TESTS_CONFIGURATION_H

#include <map>
#include <utility>

#include "tests/bytes.h"

// Returns records under their expected keys, built byte by byte. Each interface has 256 virtual routers.
inline std::pair<Bytes, Bytes> vr(int number, bool old_layout) {
  const Bytes id(1, static_cast<char>(number)), low(1, static_cast<char>(number >> 8));
  const Bytes value = hex("050000") + low + id + hex("01000000") + Bytes(76, 'o') + Bytes(old_layout ? 0 : 52, 'n');
  return {hex("01 00000001") + id + low + hex("000005"), value};
}

inline std::pair<Bytes, Bytes> ip(int number, bool old_layout) {
  const Bytes id(1, static_cast<char>(number)), low(1, static_cast<char>(number >> 8));
  const Bytes address = hex("c0000201") + Bytes(12, '\0');
  const Bytes value =
      hex("050000") + low + id + hex("01000000") + address + Bytes(8, 'o') + Bytes(old_layout ? 0 : 20, 'n');
  return {hex("02 00000001") + id + low + hex("000005") + address, value};
}

inline std::map<Bytes, Bytes> left_by_upgrade(std::map<Bytes, Bytes> records) {
  std::erase_if(records, [](const auto& record) { return record.first[0] <= 4; });
  return records;
}

inline std::map<Bytes, Bytes> configuration(int routers, bool old_layout) {
  std::map<Bytes, Bytes> all = {
      {hex("04000000"), Bytes(1, '\1') + Bytes(20, '\0')}, {hex("05 01"), "track"}, {"Zebra", ""}};
  for (int number = 0; number < routers; ++number) all.insert({vr(number, old_layout), ip(number, old_layout)});
  return all;
}

#endif
