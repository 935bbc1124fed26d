#include "tool/trace/log.h"

#include <iostream>
#include <map>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/record/record_text.h"
#include "tool/store/paths.h"
#include "tool/store/record_counts.h"
#include "tool/store/store.h"
#include "tool/support/error.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct LogOptions {
  std::vector<std::string> files{};
  std::string root{};
  std::string store{};  // with the records before the conversion
  bool summary = false;
  JsonReport* json = nullptr;
};

// Completes what the log does not say, if the store has as many records as the library read: the names of failed
// records, and why the global info record was not deleted.
void complete_with(const Store& store, Call& call) {
  const RecordCounts counts = count_records(store);
  const bool is_same = call.read && counts.of(Kind::vr) == call.read->vr &&
                       counts.of(Kind::ip_assoc) == call.read->ip_assoc && !call.is_out_of_order;
  if (!is_same) return;
  if (call.change == "upgrade" && call.global_info != "deleted") {
    const bool is_absent = counts.of(Kind::global_info) == 0;
    call.global_info = is_absent ? "absent" : "not deleted";
    if (!is_absent) {
      ++call.failure_count;
      call.failures.push_back({"global info", "not deleted"});
    }
  }
  size_t vr = 0, ip_assoc = 0;
  store.for_each([&](const StoredRecord& record) {
    const Kind kind = kind_of(record.key);
    if (kind != Kind::vr && kind != Kind::ip_assoc) return;
    const size_t place = kind == Kind::vr ? ++vr : ++ip_assoc;
    for (TraceFailure& failure : call.failures) {
      if (failure.place == place && failure.is_vr == (kind == Kind::vr)) failure.step = name_of(record);
    }
  });
}

void print_line(const char* label, const std::string& text) {
  if (!text.empty()) std::cout << "  " << label << printable(text) << '\n';
}

std::string text_of(const RouterCounts& counts) {
  return "VR configurations: " + std::to_string(counts.vr) + ", IP associations: " + std::to_string(counts.ip_assoc);
}

// The library does not trace the close after a downgrade.
std::string close_text(const Call& call, const std::string& root) {
  if (!call.close.empty() || call.change != "downgrade") return call.close;
  const std::string store = root + path_in(call.store).string();
  return "the log does not say; look for vrrp in the system log, and run vrrpconvert check " + quoted_for_shell(store);
}

void print_block(const Call& call, const std::string& root) {
  const auto seconds = call.duration();
  std::cout << call.time << ": " << printable(call.title()) << '\n';
  print_line("entry point  ", call.entry_point);
  print_line("store        ", call.store);
  print_line("VDC          ", call.vdc);
  print_line("snapshot     ", call.snapshot);
  print_line("global info  ", call.global_info);
  if (call.read) print_line("read         ", text_of(*call.read));
  if (call.read) print_line(call.change == "upgrade" ? "deleted      " : "converted    ", text_of(call.done));
  for (const TraceFailure& failure : call.failures) print_line("failed       ", failure.step + ": " + failure.reason);
  if (call.failure_count > call.failures.size()) {
    print_line("failed       ", std::to_string(call.failure_count - call.failures.size()) + " more");
  }
  print_line("close        ", close_text(call, root));
  print_line("duration     ", seconds ? std::to_string(*seconds) + " s" : "unknown: the clock was set back");
  print_line("end          ", call.ending());
}

void print_call(const Call& call, const LogOptions& options, JsonWriter* json) {
  if (json != nullptr) {
    json->value(Json(call));
  } else if (options.summary) {
    std::cout << call.time << "  " << printable(call.title()) << ": " << call.result() << '\n';
  } else {
    print_block(call, options.root);
  }
}

// Returns the ending for the last call of each store.
Ending ending_of(const std::map<std::string, bool>& last_calls) {
  size_t bad = 0;
  for (const auto& [store, is_good] : last_calls) bad += is_good ? 0 : 1;
  if (last_calls.empty()) return {Reason::found, "the log has no conversion"};
  if (bad == 0) return {};
  return {Reason::found, std::string("the last conversion ") +
                             (last_calls.size() == 1 ? "" : "of " + std::to_string(bad) + " of the stores ") +
                             "failed or did not end; run vrrpconvert status"};
}

// Returns the given files, or the log of the device.
std::vector<std::string> files_of(const LogOptions& options) {
  if (!options.files.empty()) return options.files;
  const fs::path log = fs::path(options.root.empty() ? "/" : options.root) / trace_log_below_root;
  if (path_exists(log)) return {log};
  throw Error(Reason::missing, log.string() + ": no trace log; the library writes it only if the file exists before");
}

Exit show_log(const LogOptions& options) {
  const std::vector<std::string> files = files_of(options);
  std::optional<Store> records;
  if (!options.store.empty()) records.emplace(store_at(options.store));
  JsonWriter* json = nullptr;
  if (options.json != nullptr) {
    json = &options.json->begin();
    json->key("calls");
    json->begin_list();
  }
  std::map<std::string, bool> last_calls;  // whether the last call of each store is good
  const OtherLines others = read_trace_logs(files, [&](const Call& found) {
    Call call = found;
    // The snapshot of another VDC may have as many records.
    const bool is_other =
        is_snapshot_name(options.store) && !call.snapshot.empty() && !is_snapshot_of(options.store, call.snapshot);
    if (records && !is_other) complete_with(*records, call);
    print_call(call, options, json);
    if (call.entry_point == "convert_running") return;
    last_calls[call.store] = call.is_good();
    if (call.is_good()) last_calls.erase("");  // of a call that ended before it opened a store
  });
  const Ending ending = ending_of(last_calls);
  if (json != nullptr) {
    json->end();
    json->member("other_lines", Json(others));
    options.json->end(ending);
    return ending.exit();
  }
  if (others.unknown > 0) std::cout << "Trace lines that are cut or of another version: " << others.unknown << '\n';
  if (others.foreign > 0) std::cout << "Lines that are not of the library: " << others.foreign << '\n';
  if (!ending.problem.empty()) std::cerr << "vrrpconvert: " << ending.problem << '\n';
  return ending.exit();
}

}  // namespace

void add_log(CLI::App& app, Choice& choice) {
  Command command(app, choice, "log", "Explain the trace log of the library: what the device itself converted",
                  "vrrpconvert log --store /tmp/vrrp-pss");
  const auto options = std::make_shared<LogOptions>();
  run_with(command, options, show_log, Effect::reads);
  command.add_operands("FILE", options->files,
                       "Read these files in this order (default: bootflash/libconvertvrrpmgr.log of the device)",
                       false);
  command.add_text("--root", "DIR", options->root,
                   "Use this directory as the device's root (default: PSS_NONVOLATILE_ROOT, or /)");
  command.add_default("--root", "PSS_NONVOLATILE_ROOT");
  command.add_text("--store", "FILE", options->store,
                   "Name failed records with this store, which has the records from before the conversion");
  command.add_flag("--summary", options->summary, "Print one line per call");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
