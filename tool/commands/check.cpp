#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <optional>

#include "tool/commands/commands.h"
#include "tool/conversion/backup.h"
#include "tool/conversion/conversion.h"
#include "tool/conversion/release.h"
#include "tool/record/record_fields.h"
#include "tool/store/access.h"
#include "tool/store/paths.h"
#include "tool/store/record_counts.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct CheckOptions {
  std::string store;
  std::string release;  // empty for any release
  JsonReport* json = nullptr;
};

struct Problem {
  std::string record, store_key, problem;
};

// Called as soon as a problem is found, because every record may have one.
using Visit = std::function<void(const Problem&)>;

// Returns the problems of one record.
std::vector<std::string> problems_of(const StoredRecord& record, const std::optional<Release>& release) {
  const Kind kind = kind_of(record.key);
  if (!has_layouts(kind)) return {};
  const Layout* layout = layout_of(record);
  if (layout == nullptr) {
    std::string expected;
    for (const Layout& known : layouts()) {
      if (kind == known.kind) expected += (expected.empty() ? "" : " or ") + std::to_string(known.size);
    }
    return {
        "its value has " + std::to_string(record.value.size()) + (record.value.size() == 1 ? " byte" : " bytes") +
        ", expected " + expected +
        (kind == Kind::global_info
             ? ""
             : "; a downgrade would truncate the value or pad it with zeros, and could store it under another key")};
  }
  std::vector<std::string> problems;
  if (is_misplaced(record)) {
    problems.push_back("misplaced record: its expected key is " + hex_of(expected_key(*layout, record.value)));
  }
  if (release && layout->version == (release->has_old_layout ? Version::new_one : Version::old_one)) {
    problems.push_back("release " + release->text + " cannot read its " + word_of(layout->version) + " layout");
  }
  return problems;
}

class Check {
 public:
  Check(const std::optional<Release>& release, const Visit& visit) : release_(release), visit_(visit) {}

  void run_on_access(const fs::path& store) {
    for (const AccessProblem& found : access_problems(store, has_secrets_)) report({found.object, "", found.problem});
  }

  void run_on_records(const Store& store) {
    store.for_each([this](const StoredRecord& record) { check_record(record); });
    if (!misplaced_.empty()) store.for_each([this](const StoredRecord& record) { find_double(record); });
    check_layouts();
  }

  size_t problems() const { return problems_; }
  const RecordCounts& counts() const { return counts_; }
  size_t not_converted() const { return counts_.of(Kind::track) + counts_.of(Kind::other); }

  const char* layout() const {
    const bool has_new = counts_.with_layout(Version::new_one) > 0, has_old = counts_.with_layout(Version::old_one) > 0;
    return has_new && has_old ? "mixed" : has_new ? "new" : has_old ? "old" : "none";
  }

 private:
  void check_record(const StoredRecord& record) {
    counts_.add(record);
    has_secrets_ = has_secrets_ || has_secret(record);
    check_router(record);
    for (const std::string& problem : problems_of(record, release_)) report(record, problem);
    if (!is_misplaced(record)) return;
    // Two misplaced records can have the same expected key.
    const Bytes expected = expected_key(*layout_of(record), record.value);
    const auto [first, is_new] = misplaced_.emplace(expected, hex_of(record.key));
    if (!is_new) report_double(record, first->second);
  }

  // A walk visits the VR configuration records first. The keys of the other records identify their virtual router by
  // the same bytes.
  void check_router(const StoredRecord& record) {
    const Kind kind = kind_of(record.key);
    const auto router = router_in(record.key);
    if (!router) return;
    if (kind == Kind::vr) vrs_.push_back(*router);
    const bool needs_router = (kind == Kind::ip_assoc && layout_of(record) != nullptr) || track_key_of(record.key);
    if (needs_router && !std::binary_search(vrs_.begin(), vrs_.end(), *router)) {
      report(record, "no VR configuration for this VR");
    }
  }

  void find_double(const StoredRecord& record) {
    const auto found = misplaced_.find(record.key);
    if (found != misplaced_.end()) report_double(record, found->second);
  }

  void check_layouts() {
    bool has_mixed_kind = false;
    for (const Kind kind : {Kind::vr, Kind::ip_assoc}) {
      const size_t new_ones = counts_.of(kind, Version::new_one), old_ones = counts_.of(kind, Version::old_one);
      if (new_ones == 0 || old_ones == 0) continue;
      has_mixed_kind = true;
      report({word_of(kind), "",
              "mixed layouts: " + std::to_string(new_ones) + " records in the new layout, " + std::to_string(old_ones) +
                  " in the old layout"});
    }
    if (layout() == std::string("mixed") && !has_mixed_kind) {
      report({"the store", "", "mixed layouts: VR configuration and IP association records have different layouts"});
    }
  }

  void report(const Problem& problem) {
    ++problems_;
    visit_(problem);
  }
  void report(const StoredRecord& record, const std::string& problem) {
    report({name_of(record), hex_of(record.key), problem});
  }
  void report_double(const StoredRecord& record, const std::string& other_key) {
    report(record, "duplicate: the record under key " + other_key + " has the same expected key");
  }

  std::optional<Release> release_;
  Visit visit_;
  RecordCounts counts_;
  std::vector<VrKey> vrs_;                  // of VR configuration records, in order
  std::map<Bytes, std::string> misplaced_;  // keys of misplaced records, by expected key
  bool has_secrets_ = false;
  size_t problems_ = 0;
};

struct CheckedBackup : Backup {
  bool same = false, sound = false;  // whether it has the same records as the store, and no problem
  std::string problem{};             // the first one

  std::string text() const {
    if (!sound && counts.total() == 0) return problem;
    return Backup::text() + (same ? "; the same records" : "; other records") + (sound ? "" : "; " + problem);
  }

  JSON_MEMBERS(file, release, counts, same, sound, problem)
};

// Checks only the records, because the directory is the same.
std::vector<CheckedBackup> backups_for(const fs::path& store, const StoreDigest& own) {
  std::vector<CheckedBackup> backups;
  for (const fs::path& file : backups_of(store)) {
    const std::string name = release_in_name(file);
    try {
      const Store backup(file, no_wait);
      std::optional<Release> release;  // that goes back to this backup
      if (!name.empty()) release = parse_release("", name);
      std::string first;
      Check check(release, [&first](const Problem& problem) {
        if (first.empty()) first = problem.record + ": " + problem.problem;
      });
      check.run_on_records(backup);
      backups.push_back({{file, name, check.counts()}, backup.digest() == own, check.problems() == 0, first});
    } catch (const Error& error) {
      backups.push_back({{file, name, {}}, false, false, error.what()});
    }
  }
  return backups;
}

// Adds the intact backups to the error of a store that cannot be read.
[[noreturn]] void throw_with_backups(const Error& error, const std::string& store) {
  Error with_backups = error;
  if (error.reason == Reason::damaged || error.reason == Reason::not_a_store) {
    for (const CheckedBackup& backup : backups_for(store, {})) {
      if (backup.sound) with_backups.more.push_back("Backup without problems: " + backup.Backup::text());
    }
  }
  throw with_backups;
}

void print_problem(const Problem& problem) {
  const std::string key = problem.store_key.empty() ? "" : "  (key " + problem.store_key + ")";
  std::cout << styled(Style::red, printable(problem.record + key)) << ": " << problem.problem << '\n';
}

void write_problem(JsonWriter& json, const Problem& problem) {
  json.value(Json{{"store_key", problem.store_key}, {"record", problem.record}, {"problem", problem.problem}});
}

Ending ending_of(const Check& check) {
  if (check.problems() == 0) return {};
  return {Reason::found, std::to_string(check.problems()) + (check.problems() == 1 ? " problem" : " problems")};
}

struct Surroundings {
  std::vector<CheckedBackup> backups;
  std::vector<fs::path> unfinished;
};

void end_json(const Check& check, const Surroundings& found, JsonReport& report, JsonWriter& json) {
  json.end();
  Json files = Json::array();
  for (const fs::path& file : found.unfinished) files.push_back(file.native());
  json.members({{"backups", found.backups},
                {"unfinished_files", files},
                {"sound", check.problems() == 0},
                {"layout", check.layout()},
                {"not_converted", check.not_converted()},
                {"counts", check.counts()}});
  report.end(ending_of(check));
}

void end_text(const Check& check, const Surroundings& found, const std::string& store) {
  std::cout << printable(store) << ": " << check.counts().text() << '\n';
  if (check.not_converted() > 0) {
    std::cout << "Unchanged by a conversion: " << check.not_converted()
              << (check.not_converted() == 1 ? " record" : " records") << " (track and other kinds).\n";
  }
  for (const fs::path& file : found.unfinished) std::cout << unfinished_file_text << printable(file) << '\n';
  for (const CheckedBackup& backup : found.backups) std::cout << "Backup: " << printable(backup.text()) << '\n';
  std::cout << (check.problems() == 0 ? "No problems." : "Problems: " + std::to_string(check.problems()) + ".") << '\n';
}

Exit check_store(const CheckOptions& options, const std::optional<Release>& release) {
  const Store store(options.store);
  JsonWriter* json = nullptr;
  if (options.json != nullptr) {
    json = &options.json->begin();
    json->member("store", options.store);
    json->key("problems");
    json->begin_list();
  }
  Check check(release, [json](const Problem& problem) {
    json != nullptr ? write_problem(*json, problem) : print_problem(problem);
  });
  check.run_on_records(store);
  check.run_on_access(options.store);
  const Surroundings found = {backups_for(options.store, store.digest()),
                              unfinished_files_in(existing_directory(fs::path(options.store).parent_path()))};
  json != nullptr ? end_json(check, found, *options.json, *json) : end_text(check, found, options.store);
  return ending_of(check).exit();
}

Exit check(const CheckOptions& given) {
  CheckOptions options = given;
  options.store = store_at(given.store);
  std::optional<Release> release;
  if (!options.release.empty()) release = parse_release("--release", options.release);
  try {
    return check_store(options, release);
  } catch (const Error& error) {
    throw_with_backups(error, options.store);
  }
}

}  // namespace

void add_check(CLI::App& app, Choice& choice) {
  Command command(app, choice, "check", "Check that a store is intact, has one layout, and is safe from other users",
                  "vrrpconvert check --release '4.1(2)' vrrp-cfg_runtime_config");
  const auto options = std::make_shared<CheckOptions>();
  run_with(command, options, check, Effect::reads);
  command.add_operand("STORE", options->store, "Read this store, or the one in this directory");
  command.add_text("--release", "RELEASE", options->release,
                   "Also check that this release, for example 4.2(1), can read the store");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
