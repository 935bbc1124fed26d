#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <optional>

#include "tool/commands/commands.h"
#include "tool/conversion/release.h"
#include "tool/conversion/ways_back.h"
#include "tool/record/record_fields.h"
#include "tool/store/record_counts.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct Finding {
  std::string record, store_key, problem;
};

using Visit = std::function<void(const Finding&)>;  // called as each is found: there may be as many as records

// What is wrong with a record by itself.
std::vector<std::string> problems_of(const StoredRecord& record, const std::optional<Release>& release) {
  const std::string kind = kind_of(record.key);
  if (!has_layouts(kind)) return {};
  const Layout* layout = layout_of(record);
  if (layout == nullptr) {
    std::string expected;
    for (const Layout& known : layouts()) {
      if (kind == known.kind) expected += (expected.empty() ? "" : " or ") + std::to_string(known.size);
    }
    return {"its value has " + std::to_string(record.value.size()) + " bytes; expected " + expected +
            (kind == "global_info" ? "" : "; a downgrade stores another record, made from it")};
  }
  std::vector<std::string> problems;
  const Bytes expected = expected_key(*layout, record.value);
  if (record.key != expected) problems.push_back("it is misplaced; its expected key is " + hex_of(expected));
  if (release && layout->layout != nullptr && release->has_old_layout != (layout->layout == std::string("old"))) {
    problems.push_back(std::string("release ") + release->text + " cannot read its " + layout->layout + " layout");
  }
  return problems;
}

// What lets other users than root and the owner of the store change `directory`, and so put another store in its place,
// or make it unusable by a journal beside it; null where nothing does.
const char* danger_of(const struct stat& directory, uid_t owner, bool is_own) {
  const bool is_for_all = (directory.st_mode & S_IWOTH) != 0, is_for_group = (directory.st_mode & S_IWGRP) != 0;
  const bool is_sticky = (directory.st_mode & S_ISVTX) != 0;
  if (directory.st_uid != 0 && directory.st_uid != owner) {
    return "another user owns it, and can change the store; move the store to a directory of its owner";
  }
  if (is_for_all && !is_sticky) {
    return "every user can write it, and so change the store; take that away with chmod o-w";
  }
  if (is_for_group && !is_sticky) {
    return "its group can write it, and so change the store; take that away with chmod g-w";
  }
  // Other users cannot move what is in a sticky directory, but they can add to it.
  if ((is_for_all || is_for_group) && is_own) {
    return "other users can put a journal beside the store; move the store to a directory of its owner";
  }
  return nullptr;
}

// Reports the first directory on the way to the store that other users can change.
size_t check_directories(const std::filesystem::path& store, const Visit& visit) {
  const std::filesystem::path own = existing_directory(store.parent_path());
  struct stat file, status;
  if (stat(store.c_str(), &file) != 0) return 0;
  for (std::filesystem::path directory = own;; directory = directory.parent_path()) {
    if (stat(directory.c_str(), &status) != 0) return 0;
    if (const char* danger = danger_of(status, file.st_uid, directory == own)) {
      visit({"the directory " + directory.string(), "", danger});
      return 1;
    }
    if (directory == directory.parent_path()) return 0;
  }
}

class Check {
 public:
  Check(const std::optional<Release>& release, const Visit& visit) : release_(release), visit_(visit) {}

  void run_on_directories(const std::filesystem::path& file) { findings_ += check_directories(file, visit_); }

  void run_on_records(const Store& store) {
    store.for_each([this](const StoredRecord& record) { check_record(record); });
    if (!misplaced_.empty()) store.for_each([this](const StoredRecord& record) { find_double(record); });
    check_layouts();
  }

  size_t findings() const { return findings_; }
  const RecordCounts& counts() const { return counts_; }
  size_t left_alone() const { return counts_.of("track") + counts_.of("other"); }

  const char* layout() const {
    const bool has_new = counts_.of("vr", "new") + counts_.of("ip_assoc", "new") > 0;
    const bool has_old = counts_.of("vr", "old") + counts_.of("ip_assoc", "old") > 0;
    return has_new && has_old ? "mixed" : has_new ? "new" : has_old ? "old" : "none";
  }

 private:
  void check_record(const StoredRecord& record) {
    counts_.add(record);
    check_router(record);
    for (const std::string& problem : problems_of(record, release_)) report(record, problem);
    const Layout* layout = layout_of(record);
    if (layout == nullptr) return;
    const Bytes expected = expected_key(*layout, record.value);
    if (record.key == expected) return;
    // Two misplaced records can be of one router as well.
    const auto [first, is_new] = misplaced_.emplace(expected, hex_of(record.key));
    if (!is_new) report_double(record, first->second);
  }

  // VR configuration records come first in a walk, and the others name their router in the same bytes of their keys.
  void check_router(const StoredRecord& record) {
    const std::string kind = kind_of(record.key);
    const auto router = router_in(record.key);
    if (!router) return;
    if (kind == "vr") routers_.push_back(*router);
    const bool needs_router = (kind == "ip_assoc" && layout_of(record) != nullptr) || track_key_of(record.key);
    if (needs_router && !std::binary_search(routers_.begin(), routers_.end(), *router)) {
      report(record, "the store has no VR configuration of its virtual router");
    }
  }

  void find_double(const StoredRecord& record) {
    const auto found = misplaced_.find(record.key);
    if (found != misplaced_.end()) report_double(record, found->second);
  }

  void check_layouts() {
    bool has_mixed_kind = false;
    for (const char* kind : {"vr", "ip_assoc"}) {
      const size_t new_ones = counts_.of(kind, "new"), old_ones = counts_.of(kind, "old");
      if (new_ones == 0 || old_ones == 0) continue;
      has_mixed_kind = true;
      report({kind, "",
              "layouts are mixed: " + std::to_string(new_ones) + " in the new layout and " + std::to_string(old_ones) +
                  " in the old one"});
    }
    if (layout() == std::string("mixed") && !has_mixed_kind) {
      report({"the store", "", "layouts are mixed: VR configuration and IP association records in different layouts"});
    }
  }

  void report(const Finding& finding) {
    ++findings_;
    visit_(finding);
  }
  void report(const StoredRecord& record, const std::string& problem) {
    report({name_of(record), hex_of(record.key), problem});
  }
  void report_double(const StoredRecord& record, const std::string& other_key) {
    report(record, "the record under " + other_key + " is of the same router");
  }

  std::optional<Release> release_;
  Visit visit_;
  RecordCounts counts_;
  std::vector<RouterKey> routers_;          // of VR configuration records, in order
  std::map<Bytes, std::string> misplaced_;  // keys of misplaced records, by their expected keys
  size_t findings_ = 0;
};

// Of the copies of a store, those whose records have no problem: the directory is the same.
std::vector<WayBack> sound_copies(const std::string& store, const std::optional<Release>& release) {
  std::vector<WayBack> copies = ways_back(store, "");
  std::erase_if(copies, [&release](const WayBack& copy) {
    Check check(release, [](const Finding&) {});
    try {
      check.run_on_records(Store(copy.file, no_wait));
    } catch (const Error& error) {
      if (error.exit_code == exit_interrupted) throw;
      return true;  // another process changed it meanwhile
    }
    return check.findings() > 0;
  });
  return copies;
}

// The error of a store that cannot be looked into, with the copies that can.
[[noreturn]] void throw_with_copies(const Error& error, const std::string& store,
                                    const std::optional<Release>& release) {
  std::string message = error.what();
  if (error.reason == std::string("damaged") || error.reason == std::string("not_a_store")) {
    for (const WayBack& copy : sound_copies(store, release)) message += "\nWithout problems: " + copy.text();
  }
  throw Error(error.exit_code, message, error.reason, error.store);
}

Exit check_as_json(const CheckOptions& options, const std::optional<Release>& release) {
  const Store copy(options.store);
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.key("problems");
  json.begin_list();
  Check check(release, [&json](const Finding& finding) {
    json.begin_object();
    json.member("store_key", finding.store_key);
    json.member("record", finding.record);
    json.member("problem", finding.problem);
    json.end();
  });
  check.run_on_directories(options.store);
  check.run_on_records(copy);
  json.end();
  json.key("sound_copies");
  json.begin_list();
  if (check.findings() > 0) {
    for (const WayBack& way : sound_copies(options.store, release)) json.value(way.file.string());
  }
  json.end();
  json.key("unfinished_files");
  json.begin_list();
  for (const fs::path& file : unfinished_files_in(existing_directory(fs::path(options.store).parent_path()))) {
    json.value(file.string());
  }
  json.end();
  json.member("sound", check.findings() == 0);
  json.member("layout", check.layout());
  json.member("left_alone", check.left_alone());
  json.key("summary");
  check.counts().write(json);
  json.end();
  return check.findings() == 0 ? exit_done : exit_found;
}

Exit check_as_text(const CheckOptions& options, const std::optional<Release>& release) {
  Check check(release, [](const Finding& finding) {
    const std::string key = finding.store_key.empty() ? "" : "  (key " + finding.store_key + ")";
    std::cout << styled(Style::red, printable(finding.record + key)) << ": " << finding.problem << '\n';
  });
  const Store copy(options.store);
  check.run_on_directories(options.store);
  check.run_on_records(copy);
  std::cout << printable(options.store) << ": " << check.counts().text() << '\n';
  if (check.left_alone() > 0) {
    std::cout << "Left alone by a conversion: " << check.left_alone() << " (track and other kinds).\n";
  }
  for (const fs::path& file : unfinished_files_in(existing_directory(fs::path(options.store).parent_path()))) {
    std::cout << unfinished_file_text << printable(file) << '\n';
  }
  std::cout << (check.findings() == 0 ? "No problems." : "Problems: " + std::to_string(check.findings()) + ".") << '\n';
  if (check.findings() == 0) return exit_done;
  for (const WayBack& way : sound_copies(options.store, release))
    std::cout << "Without problems: " << printable(way.text()) << '\n';
  return exit_found;
}

}  // namespace

Exit check(const CheckOptions& options) {
  std::optional<Release> release;
  if (!options.release.empty()) release = parse_release("--release", options.release);
  try {
    return options.json != nullptr ? check_as_json(options, release) : check_as_text(options, release);
  } catch (const Error& error) {
    throw_with_copies(error, options.store, release);
  }
}

}  // namespace vrrpconvert
