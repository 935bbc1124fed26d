#include "tool/fleet/evidence.h"

#include <algorithm>

#include "tool/conversion/conversion.h"
#include "tool/store/paths.h"
#include "tool/store/store.h"
#include "tool/support/error.h"
#include "tool/trace/log.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Returns the number of stores in the directories directly below `root`.
size_t stores_below(const fs::path& root) {
  size_t count = 0;
  for (const fs::path& directory : files_in(root)) count += path_exists(directory / running_store) ? 1 : 0;
  return count;
}

bool has_device_directories(const fs::path& root) {
  return path_exists(root / "tmp") || path_exists(root / "bootflash");
}

// Returns the log and its rotated parts, oldest first, below `root` or next to the store. The library never creates the
// file, so after a rotation there may be only parts.
std::vector<std::string> logs_for(const fs::path& store_file, const fs::path& root) {
  const fs::path below = trace_log_below_root;
  for (const fs::path& log : {root / below, store_file.parent_path() / below.filename()}) {
    std::vector<std::string> files;
    if (path_exists(log)) files.push_back(log);
    for (uint32 number = 1; path_exists(kept_name(log, number)); ++number) {
      files.insert(files.begin(), kept_name(log, number));
    }
    if (!files.empty()) return files;
  }
  return {};
}

// The calls of one store in a log.
class Calls {
 public:
  Calls(fs::path path, bool is_only_store) : path_(std::move(path)), is_only_store_(is_only_store) {}

  void take(const Call& call) {
    if (call.entry_point == "convert_running" || call.entry_point == "convert_startup") return;
    ++count_;
    if (call.store.empty()) return unknown_.add(call, count_);
    const fs::path path = path_in(call.store);
    if (path == path_) return own_.add(call, count_);
    has_others_ = has_others_ || (others_.last && path_in(others_.last->store) != path);
    others_.add(call, count_);
  }

  // If the log names only one store, and the device has only one, it is this one: the directory may be a copy with
  // another path. A call that ended before its store was known may be of this store.
  void finish(Evidence& evidence) const {
    const bool is_copy = !own_.last && !has_others_ && is_only_store_;
    const Group calls = is_copy ? others_ : own_;
    evidence.call = unknown_.number > calls.number ? unknown_.last : calls.last;
    evidence.record_count_in_log = std::max(calls.most, unknown_.most);
  }

 private:
  struct Group {
    std::optional<Call> last{};
    size_t number = 0;  // of the last call
    size_t most = 0;

    void add(const Call& call, size_t its_number) {
      last = call;
      number = its_number;
      most = std::max({most, call.done.total(), call.read.value_or(RouterCounts()).total()});
    }
  };

  fs::path path_;
  bool is_only_store_, has_others_ = false;
  size_t count_ = 0;
  Group own_{}, others_{}, unknown_{};
};

void read_log(const fs::path& store_file, const fs::path& root, Evidence& evidence) {
  const std::vector<std::string> files = logs_for(store_file, root);
  if (files.empty()) return;
  evidence.log = files.back();
  const fs::path below = existing_directory(store_file.parent_path()).lexically_relative(existing_directory(root));
  Calls calls(("/" / below / store_file.filename()).lexically_normal(), stores_below(root) <= 1);
  try {
    for (const std::string& file : files) {  // a FIFO would never end
      if (!fs::is_regular_file(file)) throw Error(Reason::bad_input, file + ": not a regular file");
    }
    read_trace_logs(files, [&calls](const Call& call) { calls.take(call); });
  } catch (const Error& error) {
    evidence.unreadable_files.emplace_back(error.what());
  }
  calls.finish(evidence);
}

// Returns whether a snapshot may be of the VDC of the call. A snapshot of the startup store has no records of this one.
bool is_of_vdc(const fs::path& snapshot, const std::optional<Call>& call) {
  if (!is_snapshot_name(snapshot)) return false;
  if (!call || call->vdc.empty()) return true;
  if (!call->snapshot.empty()) return is_snapshot_of(snapshot, path_in(call->snapshot));
  const unsigned long vdc = std::stoul("0" + call->vdc);
  return is_snapshot_of(snapshot, snapshot_below("/", vdc == 0 ? 1 : static_cast<uint32>(vdc)));
}

const Backup* find(const Evidence& evidence, const std::function<bool(const Backup&)>& is_wanted) {
  const auto found = std::find_if(evidence.files.begin(), evidence.files.end(), is_wanted);
  return found == evidence.files.end() ? nullptr : &*found;
}

}  // namespace

void to_json(Json& json, const Evidence& evidence) {
  json = {{"files", evidence.files},
          {"unreadable_files", evidence.unreadable_files},
          {"unfinished_files", evidence.unfinished_files},
          {"log", or_null(evidence.log)},
          {"call", or_null(evidence.call)},
          {"record_count_in_log", evidence.record_count_in_log},
          {"contradictions", evidence.contradictions},
          {"next", or_null(evidence.next)}};
}

fs::path device_root_of(const fs::path& store, const std::string& given) {
  if (!given.empty()) return given;
  fs::path own = store.parent_path().empty() ? "." : store.parent_path();
  if (has_device_directories(own)) return own;
  for (const fs::path& path : {fs::absolute(own).lexically_normal(), existing_directory(own)}) {
    const fs::path above = (path.has_filename() ? path : path.parent_path()).parent_path();
    if (has_device_directories(above) && stores_below(above) == 1) return above;
  }
  return own;
}

Evidence evidence_for(const fs::path& store_file, const Store& store, const fs::path& root) {
  Evidence evidence;
  read_log(store_file, root, evidence);
  const fs::path directory = store_file.parent_path().empty() ? "." : store_file.parent_path();
  std::vector<fs::path> files = backups_of(store_file), unfinished = unfinished_files_in(directory);
  for (const fs::path& place : {root / "tmp", directory}) {
    for (const fs::path& snapshot : snapshots_in(place)) {
      if (is_of_vdc(snapshot, evidence.call)) files.push_back(snapshot);
    }
  }
  for (const fs::path& file : unfinished_files_in(root / "tmp")) unfinished.push_back(file);
  for (const fs::path& file : unfinished) evidence.unfinished_files.push_back(file);
  evidence.files = readable_backups(files, store, &evidence.unreadable_files);
  return evidence;
}

const Backup* last_source(const Evidence& evidence, const fs::path& store_file) {
  fs::path last;
  try {
    last = last_backup_of(store_file);
  } catch (const Error&) {
    return nullptr;  // two backups with one number
  }
  return find(evidence,
              [&last](const Backup& file) { return last.empty() ? is_snapshot_name(file.file) : file.file == last; });
}

const Backup* best_source(const Evidence& evidence, const fs::path& store_file) {
  const auto has_records = [](const Backup* file) { return file != nullptr && file->counts.routers() > 0; };
  if (evidence.call && !evidence.call->snapshot.empty()) {
    const fs::path name = path_in(evidence.call->snapshot).filename();
    const Backup* snapshot =
        find(evidence, [&name](const Backup& file) { return fs::path(file.file).filename() == name; });
    if (has_records(snapshot)) return snapshot;
  }
  const Backup* source = last_source(evidence, store_file);
  if (has_records(source)) return source;
  const auto most = std::max_element(
      evidence.files.begin(), evidence.files.end(),
      [](const Backup& one, const Backup& other) { return one.counts.routers() < other.counts.routers(); });
  return most != evidence.files.end() && has_records(&*most) ? &*most : nullptr;
}

}  // namespace vrrpconvert
