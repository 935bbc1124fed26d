// The files of a store as anybody could have left them: the store's own, cut and changed, and journals, write-ahead
// logs and other sidecar files of any content. The store is refused, or read whole and changed whole; no other file is
// opened, changed or removed. Input: four sizes of two bytes (journal, log, shared memory file, edits), then these; an
// edit is the offset in the store in two bytes, and the byte there. What follows makes the store longer, or, without
// anything, the last size cuts it.

#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <unistd.h>

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
bool is_watching = false;

void require(bool holds) {
  if (!holds) abort();
}

std::string content(const std::string& name) {
  std::ostringstream text;
  text << std::ifstream(root + "/" + name, std::ios::binary).rdbuf();
  return text.str();
}

void write(const std::string& name, const std::string& bytes) {
  std::ofstream(root + "/" + name, std::ios::binary) << bytes;
}

syserr_t put(pss_service_t table, std::string key, std::string value) {
  const pss_datum_t k = {key.data(), static_cast<uint32>(key.size())};
  const pss_datum_t v = {value.data(), static_cast<uint32>(value.size())};
  return pss_store(table, PSS_REPLACE, &k, &v);
}

std::string sound_store() {
  require(pss_embedded_create("nonvolatile:/s") == 0);
  syserr_t status;
  const pss_service_t table = pss_open("nonvolatile:/s", &status);
  for (int i = 0; i < 200; ++i) require(put(table, "key" + std::to_string(i), std::string(137, 'v')) == 0);
  require(pss_close(table) == 0);
  return content("s");
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

// The one call by which the platform opens anything.
extern "C" int openat64(int directory, const char* name, int flags, ...) {
  static const auto real = reinterpret_cast<int (*)(int, const char*, int, mode_t)>(dlsym(RTLD_NEXT, "openat64"));
  const std::string text = name;
  require(!is_watching || text == "s" || text == "." || text.rfind(".pss-", 0) == 0);
  return real(directory, name, flags, 0600);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string sound = sound_store();
  std::string input(reinterpret_cast<const char*>(data), size);
  const auto take = [&input](size_t length) {
    const std::string taken = input.substr(0, length);
    input.erase(0, length);
    return taken;
  };
  const auto number = [&take] {
    const std::string bytes = take(2);
    return bytes.size() < 2 ? size_t{0} : static_cast<uint8_t>(bytes[0]) << 8 | static_cast<uint8_t>(bytes[1]);
  };
  const size_t sizes[] = {number(), number(), number()}, last = number();
  const char* sidecars[] = {"s-journal", "s-wal", "s-shm"};
  std::string sidecar_contents[3];
  for (int i = 0; i < 3; ++i) {
    sidecar_contents[i] = take(sizes[i]);
    sizes[i] > 0 ? write(sidecars[i], sidecar_contents[i]) : (void)std::filesystem::remove(root + "/" + sidecars[i]);
  }
  std::string store = sound;
  for (size_t edits = last / 3; edits > 0 && !input.empty(); --edits) {
    const size_t at = number() % store.size();
    const std::string byte = take(1);
    if (!byte.empty()) store[at] = byte[0];
  }
  input.empty() ? store.resize(last % (store.size() + 1) == 0 ? store.size() : last % (store.size() + 1))
                : (void)(store += take(65536));
  write("s", store);
  write("victim", "not ours");

  is_watching = true;
  syserr_t status;
  const pss_service_t table = pss_open("nonvolatile:/s", &status);
  require((table != 0) == (status == 0));
  if (table != 0) {
    require(sidecar_contents[0].empty() && sidecar_contents[1].empty());
    const size_t records = count(table);
    require(put(table, "new", "value") == 0 && pss_close(table) == 0);
    const pss_service_t again = pss_open("nonvolatile:/s", &status);
    require(again != 0 && count(again) == records + 1 && pss_close(again) == 0);
  }
  is_watching = false;
  if (table == 0) require(content("s") == store);
  for (int i = 0; i < 3; ++i) require(content(sidecars[i]) == sidecar_contents[i]);
  require(content("victim") == "not ours");
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(root)) ++files;
  require(files == 2u + (sizes[0] > 0) + (sizes[1] > 0) + (sizes[2] > 0));
  return 0;
}
