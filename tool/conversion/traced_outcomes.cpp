#include "tool/conversion/traced_outcomes.h"

#include <initializer_list>

namespace vrrpconvert {
namespace {

bool begins_with_any(const std::string& text, std::initializer_list<const char*> starts) {
  for (const char* start : starts) {
    if (text.rfind(start, 0) == 0) return true;
  }
  return false;
}

}  // namespace

void TracedOutcomes::add_line(const std::string& line) {
  const size_t operation = line.find("> ");
  const size_t end = operation != std::string::npos ? line.find(' ', operation + 2) : operation;
  if (end == std::string::npos) return;
  const std::string message = line.substr(end + 1);
  if (begins_with_any(message, {"Number of VR records"})) current_ = "vr";
  if (begins_with_any(message, {"Number of VIP records"})) current_ = "ip_assoc";
  if (begins_with_any(message, {"Added new", "Deleted PSS"})) {
    add(current_, "");
  } else if (begins_with_any(message, {"Error storing record in PSS", "Error deleting PSS VR record"})) {
    add(current_, message);
  } else if (begins_with_any(message, {"Failed to delete global info", "Failed to store global info"})) {
    add("global_info", message);
  } else if (begins_with_any(message, {"Error", "Failed"})) {
    general_ = message;
  }
}

void TracedOutcomes::add(const std::string& kind, const std::string& failure) {
  Kind& record = kinds_[kind];
  if (!failure.empty()) record.failures[record.reported] = failure;
  ++record.reported;
}

std::string TracedOutcomes::failure_of(const std::string& kind, size_t position) const {
  const auto found = kinds_.find(kind);
  if (found == kinds_.end()) return general_;
  const auto failure = found->second.failures.find(position);
  return failure != found->second.failures.end() ? failure->second : general_;
}

}  // namespace vrrpconvert
