// A store file that is truncated, extended and changed. The store is refused and unchanged, or read and changed
// completely; no other file is opened. Input: the number of edits (1 byte); per edit the offset in the store (2 bytes)
// and the new byte; then bytes to append or, if none follow, the new size (2 bytes).

#include <dlfcn.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/embedded/pss_embedded.h"

namespace {

const std::string root = [] {
  std::string name = std::filesystem::temp_directory_path() / "store-fuzz-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) abort();
  setenv("PSS_NONVOLATILE_ROOT", name.c_str(), 1);
  return name;
}();

void require(bool holds) {
  if (!holds) abort();
}

std::string content() {
  std::ostringstream text;
  text << std::ifstream(root + "/s", std::ios::binary).rdbuf();
  return text.str();
}

syserr_t put(pss_service_t table, std::string key, std::string value) {
  const pss_datum_t k = {key.data(), static_cast<uint32>(key.size())};
  const pss_datum_t v = {value.data(), static_cast<uint32>(value.size())};
  return pss_store(table, PSS_REPLACE, &k, &v);
}

std::string intact_store() {
  require(pss_embedded_create("nonvolatile:/s") == 0);
  syserr_t status;
  const pss_service_t table = pss_open("nonvolatile:/s", &status);
  for (int i = 0; i < 200; ++i) require(put(table, "key" + std::to_string(i), std::string(137, 'v')) == 0);
  require(pss_close(table) == 0);
  return content();
}

size_t count(pss_service_t table) {
  syserr_t status;
  size_t records = 0;
  for (auto* key = pss_move2location(table, PSS_FIRST_KEY, &status); key != nullptr;
       key = pss_move2location(table, PSS_NEXT_KEY, &status)) {
    require(status == 0 && pss_getvalue(table, &status) != nullptr);
    ++records;
  }
  return records;
}

}  // namespace

// The only call by which the platform opens files.
extern "C" int openat64(int directory, const char* name, int flags, ...) {
  static const auto real = reinterpret_cast<int (*)(int, const char*, int, mode_t)>(dlsym(RTLD_NEXT, "openat64"));
  const std::string text = name;
  require(text == "s" || text == "." || text.rfind(".pss-", 0) == 0);
  return real(directory, name, flags, 0600);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string intact = intact_store();
  const uint8_t* end = data + size;
  const auto byte = [&data, end] { return data != end ? *data++ : uint8_t{0}; };
  const auto number = [&byte] {
    const size_t high = byte();
    return high << 8 | byte();
  };
  std::string store = intact;
  for (int edits = byte(); edits > 0 && data != end; --edits) {
    const size_t at = number() % store.size();
    store[at] = static_cast<char>(byte());
  }
  end - data == 2 ? store.resize(number() % store.size()) : (void)store.append(data, end);
  std::ofstream(root + "/s", std::ios::binary) << store;

  syserr_t status;
  const pss_service_t table = pss_open("nonvolatile:/s", &status);
  require((table != 0) == (status == 0));
  if (table == 0) {
    require(content() == store);
    return 0;
  }
  const size_t records = count(table);
  require(put(table, "new", "value") == 0 && pss_close(table) == 0);
  const pss_service_t again = pss_open("nonvolatile:/s", &status);
  require(again != 0 && count(again) == records + 1 && pss_close(again) == 0);
  return 0;
}
