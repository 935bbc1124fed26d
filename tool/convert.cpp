#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "libconvertvrrp.h"
#include "platform/syserr.h"
#include "tool/private_folder.h"
#include "tool/release.h"
#include "tool/store.h"
#include "tool/verbs.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// ---- The store's records, counted by kind and layout ----

struct Census {
  size_t vr_new = 0, vr_old = 0, ip_new = 0, ip_old = 0, global_info = 0, other = 0;

  bool operator==(const Census&) const = default;
};

bool is_global_info(const StoredRecord& record) {
  const uint32 global_key = VRRP_PSS_GLOBAL_INFO_KEY;
  return record.key.size() == sizeof global_key && memcmp(record.key.data(), &global_key, sizeof global_key) == 0;
}

Census take_census(const fs::path& file) {
  Census census;
  const Store store(file);
  store.for_each([&](const StoredRecord& record) {
    const uint8 type = record.key[0];
    const size_t size = record.value.size();
    if (type == VRRP_PSS_KEY_VR && size == sizeof(vrrp_config_record_t)) {
      ++census.vr_new;
    } else if (type == VRRP_PSS_KEY_VR && size == sizeof(vrrp_old_config_record_t)) {
      ++census.vr_old;
    } else if (type == VRRP_PSS_KEY_IP_ASSOC && size == sizeof(vrrp_ip_assoc_record_t)) {
      ++census.ip_new;
    } else if (type == VRRP_PSS_KEY_IP_ASSOC && size == sizeof(vrrp_old_ip_assoc_record_t)) {
      ++census.ip_old;
    } else if (is_global_info(record)) {
      ++census.global_info;
    } else {
      ++census.other;
    }
  });
  return census;
}

void print_census(const Census& before, const Census& after) {
  const struct {
    const char* label;
    size_t Census::*count;
  } rows[] = {
      {"VR configuration, new layout", &Census::vr_new},
      {"VR configuration, old layout", &Census::vr_old},
      {"IP association, new layout", &Census::ip_new},
      {"IP association, old layout", &Census::ip_old},
      {"global info", &Census::global_info},
      {"other kinds", &Census::other},
  };
  std::cout << std::left << std::setw(30) << "records" << std::right << std::setw(8) << "before" << std::setw(8)
            << "after" << '\n';
  for (const auto& row : rows) {
    std::cout << std::left << std::setw(30) << row.label << std::right << std::setw(8) << before.*row.count
              << std::setw(8) << after.*row.count << '\n';
  }
}

// ---- What the system manager sets up for a call ----

// The version files and the variables that name them.
class Surroundings {
 public:
  Surroundings(const Release& from, const Release& to, unsigned vdc) : folder_(fs::temp_directory_path()) {
    set_version_file("SYSMGR_FROM_SRG_PATH", "from", from.text);
    set_version_file("SYSMGR_TO_SRG_PATH", "to", to.text);
    setenv("SYSMGR_VDC_ID", std::to_string(vdc).c_str(), 1);
  }

 private:
  void set_version_file(const char* variable, const char* name, const std::string& version) {
    const fs::path file = folder_.path() / name;
    std::ofstream stream(file);
    stream << version << '\n';
    if (!stream.flush()) throw Error(exit_io, file.string() + ": cannot be written; nothing was changed");
    setenv(variable, file.c_str(), 1);
  }

  PrivateFolder folder_;
};

// Lends the library a descriptor of the log that the operator asked for.
class TraceFile {
 public:
  explicit TraceFile(const std::string& file) {
    if (file.empty()) return;
    // Mode 0600: a dump of a record shows its authentication key.
    trace_fd = open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (trace_fd == -1) throw Error(exit_io, file + ": cannot be opened for the trace: " + strerror(errno));
    lent_ = true;
  }
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;
  ~TraceFile() {
    if (!lent_) return;
    close(trace_fd);  // every line was synced when it was written
    trace_fd = -1;
  }

 private:
  bool lent_ = false;
};

// ---- Where things are ----

void use_root(const std::string& root) {
  if (root.empty()) return;
  const fs::path folder = existing_folder(root);
  set_nonvolatile_root(folder);
  // A device has a /tmp, where the snapshot of an upgrade goes.
  std::error_code error;
  fs::create_directory(folder / "tmp", error);
  if (error) throw Error(exit_io, (folder / "tmp").string() + ": cannot be created: " + error.message());
}

fs::path nonvolatile_root() {
  const char* root = getenv("PSS_NONVOLATILE_ROOT");
  return root != nullptr && *root != '\0' ? root : "/";
}

// The library cuts a longer store URL at 255 characters; the cut one could name another store.
void check_url_length(const std::string& path, const std::string& store_name) {
  const size_t length = std::string("nonvolatile:" + path + "/" + store_name).size();
  if (length > 255) {
    throw Error(exit_usage, path + ": the store's URL would have " + std::to_string(length) +
                                " characters, and 255 is the most; use --root to name a folder closer to the store");
  }
}

// ---- Verdict ----

enum class Change { none, upgrade, downgrade };

Change change_between(const Release& from, const Release& to, bool startup) {
  if (startup) return Change::none;
  if (from.has_old_layout) return Change::upgrade;
  return to.has_old_layout ? Change::downgrade : Change::none;
}

bool is_as_expected(Change change, const Census& before, const Census& after) {
  switch (change) {
    case Change::upgrade:
      return after == Census{.other = before.other};
    case Change::downgrade:
      return after == Census{.vr_old = before.vr_new + before.vr_old,
                             .ip_old = before.ip_new + before.ip_old,
                             .global_info = 1,
                             .other = before.other};
    default:
      return after == before;
  }
}

const char* sentence_for(Change change, bool startup) {
  switch (change) {
    case Change::upgrade:
      return "upgrade, the records of the old layout are removed";
    case Change::downgrade:
      return "downgrade, the records are rewritten in the old layout";
    default:
      return startup ? "a startup store is inspected and left as it is"
                     : "no change of layout, the store is left as it is";
  }
}

// The file at `path` as it is now; a snapshot that is taken anew is another file.
ino_t file_number(const fs::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

Exit convert(const ConvertOptions& options) {
  const Release from = parse_release("--from", options.from);
  const Release to = parse_release("--to", options.to);
  const Change change = change_between(from, to, options.startup);
  use_root(options.root);

  const fs::path folder = existing_folder(options.folder);
  const std::string path = nonvolatile_path(folder);
  const std::string store_name = options.startup ? "bin/vrrp-cfg_config_sav" : "vrrp-cfg_runtime_config";
  check_url_length(path, store_name);
  const fs::path file = folder / store_name;
  const Census before = take_census(file);

  const std::string vdc_suffix = options.vdc == 1 ? "" : std::to_string(options.vdc);
  const fs::path snapshot = nonvolatile_root() / ("tmp/vrrp-pss" + vdc_suffix);
  const ino_t earlier_snapshot = file_number(snapshot);

  syserr_t result = 0;
  {
    const Surroundings surroundings(from, to, options.vdc);
    const TraceFile trace(options.trace);
    const auto entry_point = options.startup ? convert_startup : convert_gsync;
    result = entry_point(path.c_str(), "vrrpconvert", to.text.c_str(), from.text.c_str());
  }
  const Census after = take_census(file);

  std::cout << file.string() << ": " << from.text << " to " << to.text << ": " << sentence_for(change, options.startup)
            << "\n\n";
  print_census(before, after);
  if (result != 0) {
    std::cerr << "vrrpconvert: the library answered 0x" << std::hex << result << " (" << syserr2str(result) << ")\n";
    return exit_bad_input;
  }
  bool complete = is_as_expected(change, before, after);
  if (change == Change::upgrade) {
    const bool taken = file_number(snapshot) != 0 && file_number(snapshot) != earlier_snapshot;
    complete = complete && taken;
    if (taken) std::cout << "\nSnapshot of the store before the upgrade: " << snapshot.string() << '\n';
    if (!taken) std::cerr << "vrrpconvert: " << snapshot.string() << ": the snapshot was not taken\n";
  }
  if (!complete) {
    std::cerr << "vrrpconvert: " << file.string()
              << ": not every record is in the state that it should be in; run again with --trace FILE to see why\n";
    return exit_some_failed;
  }
  return exit_done;
}

}  // namespace vrrpconvert
