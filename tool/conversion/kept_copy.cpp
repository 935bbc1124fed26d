#include "tool/conversion/kept_copy.h"

#include <string>

#include "tool/support/error.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// "STORE.from-4.2-1", and "STORE.from-4.2-1.2" for the second.
fs::path copy_name(const fs::path& store, const Release& from, unsigned attempt) {
  std::string release = from.text.substr(0, from.text.find(')'));
  release[release.find('(')] = '-';
  return store.string() + ".from-" + release + (attempt == 1 ? "" : "." + std::to_string(attempt));
}

}  // namespace

fs::path keep_copy(const Store& original, const fs::path& store, const Release& from) {
  for (unsigned attempt = 1;; ++attempt) {
    const fs::path name = copy_name(store, from, attempt);
    try {
      if (original.put_new(name)) return name;
    } catch (const Error& error) {
      throw Error(exit_io, std::string("no copy of the store can be kept, so nothing was changed: ") + error.what(),
                  error.exit_code == exit_unknown ? nullptr : error.reason, store.string());
    }
  }
}

}  // namespace vrrpconvert
