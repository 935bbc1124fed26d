#include "tool/trace/event.h"

#include <algorithm>
#include <cctype>

namespace vrrpconvert {
namespace {

struct Text {
  Event kind;
  unsigned stage, after;
  const char* format;  // of the library's trace point
};

constexpr Text texts[] = {
    {Event::gsync, 0, 0, "Conversion routine called"},
    {Event::startup, 0, 0, "Convert startup called"},
    {Event::running, 0, 0, "Convert running called"},
    {Event::path_too_long, 1, 0, "Startup path of %u characters leaves no room for /bin"},
    {Event::entered, 1, 0, "Entering upgrade/downgrade code path in Mgr"},
    {Event::open_failed, 2, 1, "Failed to open %s: %s"},
    {Event::opened, 2, 1, "Opened Mgr's PSS File %s"},
    {Event::paths, 3, 2, "Info: to srg path %s from srg path %s"},
    {Event::arguments, 4, 3, "Info: args: to_pkg_version %s from_pkg_version %s"},
    {Event::version, 5, 4, "Getting version %s"},
    {Event::versions, 6, 5, "from version = %s, to version = %s "},
    {Event::numbers, 7, 6, "from_major = %d, from_minor = %d, to_major = %d, to_minor = %d"},
    {Event::numbers, 8, 7, "from_patch = %d, to_patch = %d"},
    {Event::vdc_number, 9, 8, "VDC ID = %u"},
    {Event::no_vdc, 9, 8, "Could not get vdc from path"},
    {Event::vdc_text, 10, 8, "VDC string = %s"},
    {Event::upgrade, 11, 10, "Entered Upgrade path"},
    {Event::downgrade, 11, 10, "Handling downgrade changes in Mgr"},
    {Event::snapshot_taken, 12, 11, "Taken snapshot of Mgr PSS to temp file %s"},
    {Event::snapshot_failed, 12, 11, "Error in taking snapshot of Mgr's PSS: %s"},
    {Event::global_deleted, 13, 12, "Deleted global info"},
    {Event::global_remains, 13, 12, "Failed to delete global info"},
    {Event::global_stored, 13, 11, "Stored global info"},
    {Event::global_failed, 13, 11, "Failed to store global info : Ret_val 0x%x"},
    {Event::vr_count, 14, 13, "Number of VR records = %d"},
    {Event::vr_found, 15, 14, "Retrieved PSS record for VR %d on interface 0x%x and addr type %d"},
    {Event::vr_begun, 15, 15, "Deleting PSS VR record : VR %d , intf 0x%x"},
    {Event::vr_done, 15, 15, "Deleted PSS VR record : VR %d, interface 0x%x"},
    {Event::vr_done, 15, 14, "Added new record for VR %d on interface 0x%x and addr type %d"},
    {Event::vr_failed, 15, 14, "Error deleting PSS VR record; Ret_val = 0x%x, %s"},
    {Event::vr_failed, 15, 14, "Error storing record in PSS: Ret_val = %d, %s"},
    {Event::ip_count, 16, 14, "Number of VIP records = %d"},
    {Event::ip_done, 17, 16, "Deleted PSS VIP record : VR %d, interface 0x%x"},
    {Event::ip_done, 17, 16, "Added new IP record for VR %d on interface 0x%x"},
    {Event::bulk_read_failed, 17, 13, "Error getting PSS records in bulk; Ret = %d"},
    {Event::bulk_read_failed, 17, 13, "Unrecognized PSS record type"},
    {Event::handler_ended, 18, 13, "Deleted RC recs in Mgr for upgrade"},
    {Event::handler_failed, 18, 11, "Error deleting PSS recs in upgrade : 0x%x"},
    {Event::handler_failed, 18, 11, "Error copying PSS recs from Mgr to Engine's RC PSS"},
    {Event::handler_failed, 18, 11, "Error handling upgrade changes : Ret 0x%x"},
    {Event::handler_failed, 18, 11, "Error handling downgrade changes : Ret %d"},
    {Event::close_failed, 19, 11, "Error closing RC PSS file in Mgr : 0x%x(%s)"},
    {Event::closed, 19, 11, "Closed RC PSS file in Mgr"},
    {Event::ended, 20, 10, "Done with conversion in Mgr"},
    {Event::startup_ended, 20, 10, "No conversion as it's startup"},
};

// Returns whether `text` is what a conversion prints: %s anything, %x hexadecimal digits, %d and %u a number.
bool is_printed_by(char conversion, std::string_view text) {
  if (conversion == 's') return true;
  if (conversion == 'd' && text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && std::all_of(text.begin(), text.end(), [conversion](unsigned char letter) {
    return (conversion == 'x' ? isxdigit(letter) : isdigit(letter)) != 0;
  });
}

// Returns whether `format` prints the message, and appends what its conversions print. A message that is cut may end
// anywhere in the last conversion.
bool matches(std::string_view format, std::string_view message, bool is_cut, std::vector<std::string>& arguments) {
  while (true) {
    const size_t percent = format.find('%');
    if (percent == std::string_view::npos) return message == format;
    if (!message.starts_with(format.substr(0, percent))) return false;
    message.remove_prefix(percent);
    const char conversion = format[percent + 1];
    format.remove_prefix(percent + 2);
    const std::string_view literal = format.substr(0, format.find('%'));
    const bool is_last = literal.size() == format.size();
    const size_t from = message.size() < literal.size() ? message.size() : message.size() - literal.size();
    const size_t end = is_last ? from : message.find(literal);
    if (is_cut && is_last) {
      arguments.emplace_back(message);
      return conversion == 's';
    }
    if (end == std::string_view::npos || !is_printed_by(conversion, message.substr(0, end))) return false;
    arguments.emplace_back(message.substr(0, end));
    message.remove_prefix(end);
  }
}

}  // namespace

std::optional<TraceEvent> event_of(const TraceLine& line) {
  for (const Text& text : texts) {
    TraceEvent event = {text.kind, {}, text.stage, text.after};
    if (matches(text.format, line.message, line.is_cut, event.arguments)) return event;
  }
  return std::nullopt;
}

}  // namespace vrrpconvert
