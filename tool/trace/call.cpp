#include "tool/trace/call.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <tuple>

#include "libconvertvrrp.h"
#include "tool/support/digits.h"

namespace vrrpconvert {
namespace {

constexpr size_t failures_max = 100;
constexpr unsigned stage_of_addresses = 16;  // the lines of IP association records are not before it

std::optional<time_t> seconds_of(const std::string& text) {
  tm time = {};
  return strptime(text.c_str(), "%a %b %e %H:%M:%S %Y", &time) != nullptr ? std::optional(timegm(&time)) : std::nullopt;
}

// Returns a status in hexadecimal: the library prints some statuses as signed numbers.
std::string status_text(const std::string& number, bool is_hex) {
  if (is_hex) return "0x" + number;
  char text[16];
  snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(atoll(number.c_str())));
  return text;
}

std::string reason_of(const TraceEvent& event, bool is_hex) {
  if (event.arguments.empty()) return "no status in the log";
  const std::string status = status_text(event.arguments[0], is_hex);
  return event.arguments.size() < 2 ? status : status + " (" + event.arguments[1] + ")";
}

// Returns whether a release, "4.1(2)", is older than the first one with the new layout.
bool is_before_boundary(const std::string& release) {
  int major = 0, minor = 0, patch = 0;
  if (sscanf(release.c_str(), "%d.%d(%d)", &major, &minor, &patch) != 3) return false;
  return std::tuple(major, minor, patch) <
         std::tuple(VRRP_CNV_BOUNDARY_MAJOR, VRRP_CNV_BOUNDARY_MINOR, VRRP_CNV_BOUNDARY_PATCH);
}

size_t count_in(const TraceEvent& event) {
  return static_cast<size_t>(std::max(0LL, atoll(event.arguments[0].c_str())));
}

}  // namespace

std::filesystem::path path_in(const std::string& url) {
  constexpr std::string_view scheme = "nonvolatile:";
  return std::filesystem::path(url.starts_with(scheme) ? url.substr(scheme.size()) : url).lexically_normal();
}

std::string Call::ending() const {
  if (is_out_of_order) return "unknown: lines are missing, or another process wrote to the log at the same time";
  if (has_ended) return "ended";
  return "did not end: the process was killed or is running, the power failed, or the log was cut";
}

std::optional<size_t> Call::duration() const {
  const auto first = seconds_of(time), last = seconds_of(last_time);
  if (!first || !last || *last < *first) return std::nullopt;
  return static_cast<size_t>(*last - *first);
}

std::string Call::title() const {
  const bool is_none = entry_point == "convert_gsync" && is_good();
  const std::string what = !change.empty() ? change : is_none ? "no conversion" : entry_point;
  return (what.empty() ? "unknown entry point" : what) + (from.empty() ? "" : " " + from + " to " + to);
}

std::string Call::result() const {
  std::string text;
  if (read) {
    text = std::to_string(done.total()) + " of " + std::to_string(read->total()) +
           (change == "upgrade" ? " records deleted, " : " records converted, ");
  }
  if (failure_count > 0) text += counted(failure_count, "failure") + ", ";
  const std::string end = ending();
  return text + end.substr(0, end.find(':'));
}

void to_json(Json& json, const Call& call) {
  json = {{"file", call.file},
          {"line", call.line},
          {"time", call.time},
          {"duration_seconds", or_null(call.duration())},
          {"entry_point", or_null(call.entry_point)},
          {"store", or_null(call.store)},
          {"from", or_null(call.from)},
          {"to", or_null(call.to)},
          {"vdc", or_null(call.vdc)},
          {"change", or_null(call.change)},
          {"snapshot", or_null(call.snapshot)},
          {"global_info", or_null(call.global_info)},
          {"read", or_null(call.read)},
          {"done", call.done},
          {"failure_count", call.failure_count},
          {"failures", call.failures},
          {"close", or_null(call.close)},
          {"has_ended", call.has_ended},
          {"is_out_of_order", call.is_out_of_order}};
}

void CallReader::take(const TraceLine& line, const TraceEvent& event, const std::string& file, size_t number) {
  if (event.stage == 0 || !is_open_) begin(line, event, file, number);
  call_.last_time = line.time;
  // One text tells a failure of both kinds of records.
  const bool is_address = event.kind == Event::vr_failed && stage_ >= stage_of_addresses;
  const unsigned stage = is_address ? stage_of_addresses + 1 : event.stage;
  // A call never goes back, and never omits one of its steps.
  if (stage < stage_ || stage_ < event.after) call_.is_out_of_order = true;
  stage_ = stage;
  apply(event);
  const bool is_end = event.kind == Event::ended || event.kind == Event::startup_ended ||
                      event.kind == Event::open_failed || event.kind == Event::no_vdc ||
                      event.kind == Event::path_too_long || event.kind == Event::running;
  if (!is_end) return;
  call_.has_ended = true;
  finish();
}

void CallReader::finish() {
  if (!is_open_) return;
  is_open_ = false;
  if (call_.has_ended && !is_complete()) call_.is_out_of_order = true;
  visit_(call_);
}

// Returns whether no line is missing in the middle of a call that has ended.
bool CallReader::is_complete() const {
  if (call_.change.empty()) {
    // Without a conversion: the store did not open, or no release is before the boundary.
    const bool converts = call_.entry_point == "convert_gsync" || call_.entry_point.empty();
    return !converts || (!is_before_boundary(call_.from) && !is_before_boundary(call_.to));
  }
  const bool is_counted = has_addresses_ && handled_.total() == call_.read->total();
  const bool is_closed = call_.change != "upgrade" || (has_handler_end_ && has_close_);
  return is_closed && (is_counted || has_bulk_failure_);
}

void CallReader::begin(const TraceLine& line, const TraceEvent& event, const std::string& file, size_t number) {
  finish();
  call_ = {.file = file, .line = number, .time = std::string(line.time)};
  if (event.stage == 0) call_.entry_point = line.function;
  call_.is_out_of_order = event.stage > 1;  // the beginning is missing
  is_open_ = true;
  stage_ = event.after;
  has_addresses_ = has_handler_end_ = has_close_ = has_bulk_failure_ = false;
  begun_.clear();
  handled_ = {};
}

void CallReader::apply(const TraceEvent& event) {
  const std::vector<std::string>& arguments = event.arguments;
  switch (event.kind) {
    case Event::open_failed:
      call_.store = arguments[0];
      return fail("open the store", arguments[1]);
    case Event::opened:
      call_.store = arguments[0];
      break;
    case Event::versions:
      call_.from = arguments[0];
      call_.to = arguments[1];
      break;
    case Event::vdc_number:
      call_.vdc = arguments[0];
      break;
    case Event::vdc_text:
      if (call_.vdc.empty()) call_.vdc = arguments[0];
      break;
    case Event::no_vdc:
      return fail("VDC number", "the path has none");
    case Event::path_too_long:
      return fail("path of the startup store", "longer than 251 characters");
    case Event::upgrade:
      call_.change = "upgrade";
      break;
    case Event::downgrade:
      call_.change = "downgrade";
      break;
    case Event::snapshot_taken:
      call_.snapshot = arguments[0];
      break;
    case Event::snapshot_failed:
      return fail("snapshot", arguments[0]);
    case Event::bulk_read_failed:
      has_bulk_failure_ = true;
      return fail("bulk read", reason_of(event, false));
    case Event::handler_ended:
      has_handler_end_ = true;
      break;
    case Event::handler_failed:  // most often by a failure that an earlier line tells
      has_handler_end_ = true;
      if (call_.failure_count == 0) fail(call_.change, "its handler failed");
      break;
    case Event::close_failed:
      has_close_ = true;
      return fail("close", reason_of(event, true));
    case Event::closed:
      has_close_ = true;
      call_.close = "closed";
      break;
    default:
      apply_to_record(event);
  }
}

void CallReader::apply_to_record(const TraceEvent& event) {
  switch (event.kind) {
    case Event::global_deleted:
      call_.global_info = "deleted";
      break;
    case Event::global_remains:
      call_.global_info = "not deleted: absent, or the deletion failed; the log does not say which";
      break;
    case Event::global_stored:
      call_.global_info = "converted";
      break;
    case Event::global_failed:
      call_.global_info = "not converted";
      return fail("global info", reason_of(event, true));
    case Event::vr_count:
      call_.read.emplace().vr = count_in(event);
      break;
    case Event::ip_count:
      if (!call_.read) call_.read.emplace();
      call_.read->ip_assoc = count_in(event);
      has_addresses_ = true;
      break;
    case Event::vr_begun:
      begun_ = "VR " + event.arguments[0] + " on 0x" + event.arguments[1];
      break;
    case Event::vr_done:
      ++handled_.vr;
      ++call_.done.vr;
      break;
    case Event::ip_done:
      ++handled_.ip_assoc;
      ++call_.done.ip_assoc;
      break;
    case Event::vr_failed:
      return fail_record(reason_of(event, call_.change == "upgrade"));
    default:
      break;
  }
}

void CallReader::fail_record(const std::string& reason) {
  const bool is_vr = stage_ < stage_of_addresses;
  const size_t place = is_vr ? ++handled_.vr : ++handled_.ip_assoc;
  const RouterCounts read = call_.read.value_or(RouterCounts());
  const bool is_named = is_vr && call_.change == "upgrade" && !begun_.empty();
  const std::string numbered = (is_vr ? "VR configuration " : "IP association ") + std::to_string(place) + " of " +
                               std::to_string(is_vr ? read.vr : read.ip_assoc);
  fail(is_named ? begun_ : numbered, reason);
  if (call_.failures.size() != call_.failure_count || is_named) return;
  call_.failures.back().is_vr = is_vr;
  call_.failures.back().place = place;
}

void CallReader::fail(const std::string& step, const std::string& reason) {
  ++call_.failure_count;
  if (call_.failures.size() < failures_max) call_.failures.push_back({step, reason});
}

}  // namespace vrrpconvert
