#include "tool/store/record_hash.h"

#include <sodium.h>

#include "tool/support/digits.h"
#include "tool/support/error.h"

namespace vrrpconvert {
namespace {

constexpr size_t hash_size = 32;

void add(crypto_generichash_state& state, const Bytes& bytes) {
  const auto size = static_cast<uint32>(bytes.size());
  const uint8 prefix[] = {static_cast<uint8>(size), static_cast<uint8>(size >> 8), static_cast<uint8>(size >> 16),
                          static_cast<uint8>(size >> 24)};
  crypto_generichash_update(&state, prefix, sizeof prefix);
  crypto_generichash_update(&state, bytes.data(), bytes.size());
}

}  // namespace

std::string hash_of_records(const Store& store) {
  if (sodium_init() < 0) throw Error(Reason::io, "cannot initialize libsodium");
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, hash_size);
  store.for_each([&state](const StoredRecord& record) {
    add(state, record.key);
    add(state, record.value);
  });
  uint8 hash[hash_size];
  crypto_generichash_final(&state, hash, sizeof hash);
  return hex_of(hash);
}

bool is_hash_of_records(const std::string& text) {
  return text.size() == 2 * hash_size && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

}  // namespace vrrpconvert
