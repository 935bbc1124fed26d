// Calls of the library: what the trace log says of each of them.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tool/support/json.h"
#include "tool/trace/event.h"

namespace vrrpconvert {

// Returns the path in a store URL, without "//".
std::filesystem::path path_in(const std::string& url);

// Numbers of VR configuration and IP association records.
struct RouterCounts {
  size_t vr = 0, ip_assoc = 0;

  size_t total() const { return vr + ip_assoc; }

  JSON_MEMBERS(vr, ip_assoc)
};

// A step that failed. The log names a VR configuration record that was not deleted; it does not name other records, so
// they have their place in the order of keys.
struct TraceFailure {
  std::string step;  // "VR 1 on 0x100000a", "VR configuration 2 of 5", "IP association 3 of 7", "snapshot"
  std::string reason;
  bool is_vr = false;
  size_t place = 0;  // of a record that the log does not name, from 1; else 0

  JSON_MEMBERS(step, reason)
};

struct Call {
  std::string file{};                  // of the first line
  size_t line = 0;                     // its number in the file
  std::string time{}, last_time{};     // of the first and the last line, in the device's local time
  std::string entry_point{};           // empty if the beginning is missing
  std::string store{};                 // URL
  std::string from{}, to{};            // releases
  std::string vdc{};                   // number
  std::string change{};                // "upgrade", "downgrade", or empty
  std::string snapshot{};              // URL
  std::string global_info{};           // what happened to this record
  std::optional<RouterCounts> read{};  // numbers that the log tells; an upgrade reads the addresses later
  RouterCounts done{};                 // deleted or converted
  size_t failure_count = 0;
  std::vector<TraceFailure> failures{};  // the first 100
  std::string close{};                   // "closed", or empty if the log does not say
  bool has_ended = false;
  bool is_out_of_order = false;  // lines are missing, or belong to another process

  bool is_good() const { return has_ended && !is_out_of_order && failure_count == 0; }

  // Returns "ended", or why there is nothing more.
  std::string ending() const;

  // Returns the time from the first to the last line in seconds, or nothing if the clock was set back.
  std::optional<size_t> duration() const;

  // "upgrade 4.1(2) to 4.2(1)"
  std::string title() const;

  // "12 of 13 deleted, 1 failure, ended"
  std::string result() const;
};

void to_json(Json& json, const Call& call);

// Makes calls of the events of a log.
class CallReader {
 public:
  // Calls `visit` with each call when its end is known.
  explicit CallReader(std::function<void(const Call&)> visit) : visit_(std::move(visit)) {}

  // `file` and `number` are the place of the line.
  void take(const TraceLine& line, const TraceEvent& event, const std::string& file, size_t number);

  // Visits a call that has not ended.
  void finish();

 private:
  bool is_complete() const;
  void begin(const TraceLine& line, const TraceEvent& event, const std::string& file, size_t number);
  void apply(const TraceEvent& event);
  void apply_to_record(const TraceEvent& event);
  void fail_record(const std::string& reason);
  void fail(const std::string& step, const std::string& reason);

  std::function<void(const Call&)> visit_;
  Call call_;
  bool is_open_ = false;
  unsigned stage_ = 0;
  bool has_addresses_ = false;  // whether the number of IP association records is known
  bool has_handler_end_ = false, has_close_ = false, has_bulk_failure_ = false;  // whether the log has these lines
  std::string begun_{};                                                          // the record that the log named last
  RouterCounts handled_{};                                                       // records done or failed
};

}  // namespace vrrpconvert
