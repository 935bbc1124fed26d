#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <optional>

#include "tool/census.h"
#include "tool/digits.h"
#include "tool/json_report.h"
#include "tool/record_fields.h"
#include "tool/release.h"
#include "tool/style.h"
#include "tool/verbs.h"

namespace vrrpconvert {
namespace {

struct Finding {
  std::string record, store_key, problem;
};

// What is wrong with a record by itself.
std::vector<std::string> problems_of(const StoredRecord& record, const std::optional<Release>& release) {
  const std::string kind = kind_of(record.key);
  if (kind == "track" || kind == "other") return {};
  const Layout* layout = layout_of(record);
  if (layout == nullptr) {
    std::string expected;
    for (const Layout& known : layouts()) {
      if (kind == known.kind) expected += (expected.empty() ? "" : " or ") + std::to_string(known.size);
    }
    return {"its value has " + std::to_string(record.value.size()) + " bytes; expected " + expected};
  }
  std::vector<std::string> problems;
  const Bytes own = own_key(*layout, record.value);
  if (record.key != own) problems.push_back("it is stored under a key not its own; expected " + hex_of(own));
  if (release && layout->layout != nullptr && release->has_old_layout != (layout->layout == std::string("old"))) {
    problems.push_back(std::string("release ") + release->text + " cannot read its " + layout->layout + " layout");
  }
  return problems;
}

// Whether somebody but root and the owner of the store can change a folder on the way to it, and so plant a journal
// that is played back into the store, or put another store in its place. Says which folder, and what to do.
std::optional<Finding> folder_open_to_others(const std::filesystem::path& store) {
  const std::filesystem::path own = existing_folder(store.parent_path());
  struct stat owner;
  if (stat(store.c_str(), &owner) != 0) return std::nullopt;
  for (std::filesystem::path folder = own;; folder = folder.parent_path()) {
    struct stat status;
    if (stat(folder.c_str(), &status) != 0) return std::nullopt;
    const bool is_for_all = (status.st_mode & S_IWOTH) != 0, is_sticky = (status.st_mode & S_ISVTX) != 0;
    const std::string name = "the folder " + folder.string();
    if (status.st_uid != 0 && status.st_uid != owner.st_uid) {
      return Finding{name, "",
                     "another user owns it, and can change the store; move the store to a folder of its owner"};
    }
    if (is_for_all && !is_sticky) {
      return Finding{name, "", "everybody can write it, and so change the store; take that away with chmod o-w"};
    }
    // Others cannot move what is in a sticky folder, but they can add to it.
    if (is_for_all && folder == own) {
      return Finding{name, "", "everybody can put a journal beside the store; move the store to a folder of its owner"};
    }
    if (folder == folder.parent_path()) return std::nullopt;
  }
}

class Check {
 public:
  // Calls `tell` with each finding as it is made: there may be as many as records.
  Check(const Store& store, const std::filesystem::path& file, const std::optional<Release>& release,
        const std::function<void(const Finding&)>& tell)
      : release_(release), tell_(tell) {
    if (const auto finding = folder_open_to_others(file)) add(*finding);
    store.for_each([this](const StoredRecord& record) { look_at(record); });
    if (!foreign_.empty()) store.for_each([this](const StoredRecord& record) { find_second(record); });
    bool has_mixed_kind = false;
    for (const char* kind : {"vr", "ip_assoc"}) {
      const size_t new_ones = census_.of(kind, "new"), old_ones = census_.of(kind, "old");
      if (new_ones == 0 || old_ones == 0) continue;
      add_mix(kind, new_ones, old_ones);
      has_mixed_kind = true;
    }
    const bool has_new = census_.of("vr", "new") + census_.of("ip_assoc", "new") > 0;
    const bool has_old = census_.of("vr", "old") + census_.of("ip_assoc", "old") > 0;
    layout_ = has_new && has_old ? "mixed" : has_new ? "new" : has_old ? "old" : "none";
    if (layout_ == "mixed" && !has_mixed_kind) add_mix("the store", 0, 0);
  }

  size_t findings() const { return findings_; }
  const Census& census() const { return census_; }
  const std::string& layout() const { return layout_; }
  size_t left_alone() const { return census_.of("track") + census_.of("other"); }

 private:
  void look_at(const StoredRecord& record) {
    census_.add(record);
    for (const std::string& problem : problems_of(record, release_)) {
      add({name_of(record), hex_of(record.key), problem});
    }
    const Layout* layout = layout_of(record);
    if (layout == nullptr) return;
    const Bytes own = own_key(*layout, record.value);
    if (record.key == own) return;
    // Two records that both stand under foreign keys can be of one router as well.
    const auto [first, is_new] = foreign_.emplace(own, hex_of(record.key));
    if (!is_new) add_second(record, first->second);
  }

  void find_second(const StoredRecord& record) {
    const auto found = foreign_.find(record.key);
    if (found != foreign_.end()) add_second(record, found->second);
  }

  void add(const Finding& finding) {
    ++findings_;
    tell_(finding);
  }

  void add_second(const StoredRecord& record, const std::string& other_key) {
    add({name_of(record), hex_of(record.key), "the record under " + other_key + " is of the same router"});
  }

  void add_mix(const std::string& what, size_t new_ones, size_t old_ones) {
    const std::string counts = new_ones > 0 ? std::to_string(new_ones) + " in the new layout and " +
                                                  std::to_string(old_ones) + " in the old one"
                                            : "VR configuration and IP association records in different layouts";
    add({what, "", "layouts are mixed: " + counts});
  }

  std::optional<Release> release_;
  Census census_;
  std::string layout_;
  std::map<Bytes, std::string> foreign_;  // own keys of records under foreign ones
  std::function<void(const Finding&)> tell_;
  size_t findings_ = 0;
};

Exit check_as_json(const CheckOptions& options, const std::optional<Release>& release) {
  const Store store(options.store);
  JsonReport report;
  report.add("store", options.store);
  report.begin_list("problems");
  const Check check(store, options.store, release, [&report](const Finding& finding) {
    report.add_item(
        dumped({{"store_key", finding.store_key}, {"record", finding.record}, {"problem", finding.problem}}));
  });
  report.end_list();
  report.add("sound", check.findings() == 0);
  report.add("layout", check.layout());
  report.add("left_alone", check.left_alone());
  report.add("summary", check.census().json());
  report.end();
  return check.findings() == 0 ? exit_done : exit_found;
}

Exit check_as_text(const CheckOptions& options, const std::optional<Release>& release) {
  const Check check(Store(options.store), options.store, release, [](const Finding& finding) {
    const std::string key = finding.store_key.empty() ? "" : "  (key " + finding.store_key + ")";
    std::cout << styled(Style::red, finding.record + key) << ": " << finding.problem << '\n';
  });
  std::cout << options.store << ": " << check.census().text() << '\n';
  if (check.left_alone() > 0) {
    std::cout << "Left alone by a conversion: " << check.left_alone() << " (track and other kinds).\n";
  }
  std::cout << (check.findings() == 0 ? "No problems." : "Problems: " + std::to_string(check.findings()) + ".") << '\n';
  return check.findings() == 0 ? exit_done : exit_found;
}

}  // namespace

Exit check(const CheckOptions& options) {
  std::optional<Release> release;
  if (!options.release.empty()) release = parse_release("--release", options.release);
  set_nonvolatile_root("/");
  return options.json ? check_as_json(options, release) : check_as_text(options, release);
}

}  // namespace vrrpconvert
