// The cryptographic hash of all records of a store.
#pragma once

#include <string>

#include "tool/store/store.h"

namespace vrrpconvert {

// Returns BLAKE2b with 256 bits, as 64 hexadecimal digits, over the size (4 bytes, little-endian) and the bytes of each
// key and value in key order. Nobody can make another store with the same hash; the digest of a store is a sum, and
// anybody can. By libsodium, whose load adds 0.15 million instructions to the start of the tool; libcrypto adds 8.4
// million. Throws Error.
std::string hash_of_records(const Store& store);

bool is_hash_of_records(const std::string& text);

}  // namespace vrrpconvert
