#include "tool/fleet/state.h"

#include "tool/conversion/conversion.h"
#include "tool/store/difference.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

std::string name_of_file(const Backup& backup) { return fs::path(backup.file).filename(); }

// Returns whether the store has fewer records of a kind than these numbers.
bool has_fewer(const RecordCounts& counts, size_t vr, size_t ip_assoc) {
  return counts.of(Kind::vr) < vr || counts.of(Kind::ip_assoc) < ip_assoc;
}

// The conclusion for one device, whose store was read.
class Conclusion {
 public:
  Conclusion(const Device& device, Evidence& evidence)
      : counts_(device.report.summary.counts),
        store_(device.report.store),
        evidence_(evidence),
        new_ones_(counts_.with_layout(Version::new_one)),
        old_ones_(counts_.with_layout(Version::old_one)) {}

  Ending ending() {
    const std::optional<Call>& call = evidence_.call;
    if (!evidence_.unfinished_files.empty()) return unfinished("a process left " + evidence_.unfinished_files.front());
    if (call && (!call->has_ended || call->is_out_of_order)) {
      return unfinished(
          (call->is_out_of_order ? "the end of the last call in the log is " : "the last call in the log ") +
          call->ending());
    }
    const size_t unknown = counts_.routers() - new_ones_ - old_ones_;
    if (unknown > 0) return partly(counted(unknown, "record") + " of the store have neither layout");
    if (new_ones_ > 0 && old_ones_ > 0) {
      return partly("the store has both layouts: " + std::to_string(new_ones_) + " new, " + std::to_string(old_ones_) +
                    " old records");
    }
    if (counts_.routers() == 0) return ending_without_records();
    if (call && call->change == "upgrade") return ending_of_upgrade(*call);
    if (call && call->change == "downgrade") return ending_of_downgrade(*call);
    return ending_without_conversion();
  }

 private:
  std::string go_back() const {
    const Backup* backup = best_source(evidence_, store_);
    if (backup == nullptr) return "";
    return "vrrpconvert restore " + quoted_for_shell(backup->file) + " " + quoted_for_shell(store_);
  }

  Ending unfinished(const std::string& why) {
    evidence_.next = "vrrpconvert check " + quoted_for_shell(store_);
    return {Reason::unfinished, why};
  }

  Ending partly(const std::string& why) {
    evidence_.next = go_back();
    return {Reason::partly, why};
  }

  Ending not_converted(const std::string& more = "") const {
    return {Reason::not_converted,
            std::string("the store has the ") + (new_ones_ > 0 ? "new" : "old") + " layout" + more};
  }

  // An empty store is good only if there is evidence that it had no records.
  Ending ending_without_records() {
    const Backup* backup = best_source(evidence_, store_);
    const size_t left = backup == nullptr ? 0 : backup->counts.routers();
    const std::string unread = evidence_.unreadable_files.empty() ? "" : "; some files cannot be read";
    // A call that read no records says nothing about the ones that an earlier call deleted.
    const size_t read = evidence_.call ? evidence_.call->read.value_or(RouterCounts()).total() : 0;
    const size_t expected = read > 0 ? read : evidence_.record_count_in_log;
    if (expected > left) {
      evidence_.next = "look for a copy of the store before anything else is written";
      return {Reason::lost, "the log tells of " + counted(expected, "record") + ", the store has none; " +
                                (left == 0 ? "no snapshot and no backup has records"
                                           : name_of_file(*backup) + " has " + std::to_string(left)) +
                                unread};
    }
    if (left > 0) {
      const bool is_older = evidence_.call && evidence_.call->change == "upgrade" && evidence_.call->snapshot.empty();
      evidence_.next = "enter the VRRP configuration again, then run vrrpconvert verify; or to go back: " + go_back();
      return {Reason::upgraded, "no VRRP records are entered again; " + name_of_file(*backup) + " has " +
                                    std::to_string(left) + (is_older ? ", but the snapshot of this call failed" : "")};
    }
    const bool has_read_none = evidence_.call && evidence_.call->read && evidence_.call->read->total() == 0;
    if (has_read_none && unread.empty()) return {Reason::no_vrrp, "the last call read no records"};
    const bool is_untouched = evidence_.log.empty() && evidence_.files.empty() && counts_.of(Kind::track) == 0;
    if (is_untouched && unread.empty()) return {Reason::no_vrrp, "no log, backup or snapshot tells of any"};
    return {Reason::not_examined, "the store has no VRRP records, and nothing tells whether it had any" + unread};
  }

  Ending ending_of_upgrade(const Call& call) {
    const RouterCounts read = call.read.value_or(RouterCounts());
    const bool has_all_old = old_ones_ > 0 && !has_fewer(counts_, read.vr, read.ip_assoc);
    if (has_all_old) {
      if (call.done.total() > 0) contradict(call.done.total(), "deleted", "old");
      return not_converted();
    }
    if (old_ones_ > 0)
      return partly("the store has " + std::to_string(old_ones_) + " of " + std::to_string(read.total()) +
                    " old records");
    if (call.done.total() < read.total()) return partly(failures_in(call));
    if (has_fewer(counts_, read.vr, read.ip_assoc)) return entered_in_part(read.total());
    return {Reason::configured, ""};
  }

  Ending ending_of_downgrade(const Call& call) {
    const RouterCounts read = call.read.value_or(RouterCounts());
    if (new_ones_ > 0) {
      if (call.done.total() > 0) contradict(call.done.total(), "converted", "new");
      return not_converted();
    }
    if (call.failure_count > 0) return partly(failures_in(call));
    if (has_fewer(counts_, read.vr, read.ip_assoc)) return fewer_than(read.total(), "the log tells of ");
    return {Reason::downgraded, ""};
  }

  // Without a conversion in the log, the layout of its source shows that there was one.
  Ending ending_without_conversion() {
    const Backup* source = last_source(evidence_, store_);
    const Version other = new_ones_ > 0 ? Version::old_one : Version::new_one;
    if (source == nullptr || source->counts.with_layout(other) == 0) {
      const bool has_evidence = source != nullptr || evidence_.call;
      return not_converted(has_evidence ? "" : "; no log, backup or snapshot tells whether a conversion made it");
    }
    const RecordCounts& before = source->counts;
    const bool is_short = has_fewer(counts_, before.of(Kind::vr), before.of(Kind::ip_assoc));
    if (new_ones_ > 0) return is_short ? entered_in_part(before.routers()) : Ending{Reason::configured, ""};
    return is_short ? fewer_than(before.routers(), name_of_file(*source) + " has ") : Ending{Reason::downgraded, ""};
  }

  Ending fewer_than(size_t before, const std::string& what) {
    return partly("the store has " + counted(counts_.routers(), "record") + ", but " + what + std::to_string(before));
  }

  Ending entered_in_part(size_t before) {
    evidence_.next = "enter the other records, then run vrrpconvert verify; or to go back: " + go_back();
    return {Reason::partly,
            std::to_string(counts_.routers()) + " of " + counted(before, "record") + " are entered again"};
  }

  static std::string failures_in(const Call& call) { return counted(call.failure_count, "failure") + " in the log"; }

  void contradict(size_t count, const char* done, const char* layout) {
    evidence_.contradictions.push_back("the log says that " + counted(count, "record") + " were " + done +
                                       ", but the store has " + std::to_string(counts_.routers()) + " in the " +
                                       layout + " layout: the close failed (see the system log), or it was restored");
    evidence_.next = "vrrpconvert check " + quoted_for_shell(store_);
  }

  const RecordCounts& counts_;
  const std::string& store_;
  Evidence& evidence_;
  size_t new_ones_, old_ones_;
};

// Compares a store that was configured again with the source of the upgrade. It is not finished if records are missing.
Ending compare(const Store& store, Device& device) {
  const Backup* source = best_source(*device.state, device.report.store);
  if (source == nullptr) return {Reason::configured, "no backup or snapshot to compare with"};
  device.against = source->file;
  device.differences = names_of_differences(Store(source->file), store, {.ignore_layout = true, .fields_max = 3});
  if (device.differences.empty()) return {Reason::configured, ""};
  device.state->next = "vrrpconvert verify " + quoted_for_shell(fs::path(device.report.store).parent_path()) +
                       " --against " + quoted_for_shell(source->file);
  const auto removed = device.differences.find("removed");
  if (removed == device.differences.end()) return {Reason::configured, ""};
  return {Reason::partly,
          counted(removed->second.count, "record") + " of " + name_of_file(*source) + " are not entered again"};
}

Ending examine(const fs::path& store_file, const std::string& root, Device& device) {
  device.report.store = store_file;
  const Store store(store_file);
  device.report.summary.counts = count_records(store);
  device.state = evidence_for(store_file, store, device_root_of(store_file, root));
  const Ending ending = Conclusion(device, *device.state).ending();
  return ending.reason == Reason::configured ? compare(store, device) : ending;
}

}  // namespace

std::vector<Device> examine_states(const std::vector<Input>& inputs, const std::string& root) {
  return examine_each(inputs, [&root](const fs::path& file, Device& device) -> Ending {
    try {
      return examine(file, root, device);
    } catch (const Error& error) {
      // A change of another program that was not finished.
      if (error.reason == Reason::untrusted) return {Reason::unfinished, error.what()};
      throw;
    }
  });
}

}  // namespace vrrpconvert
