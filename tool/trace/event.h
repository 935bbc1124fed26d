// Events of the library, one for each trace line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/trace/line.h"

namespace vrrpconvert {

// In the order of a call; the comment lists the arguments. Alternative and repeated events share a stage.
enum class Event {
  gsync,             // convert_gsync was called
  startup,           // convert_startup
  running,           // convert_running, which writes one line
  path_too_long,     // of a startup store
  entered,           // the driver
  open_failed,       // store, status
  opened,            // store
  paths,             // of the version files
  arguments,         // versions, which have no effect
  version,           // target, then source
  versions,          // source, target
  numbers,           // of these versions
  vdc_number,        // number
  no_vdc,            // no number in the path
  vdc_text,          // text
  upgrade,           // begins
  downgrade,         // begins
  snapshot_taken,    // path
  snapshot_failed,   // status
  global_deleted,    // global info record
  global_remains,    // global info record: absent, or not deleted
  global_stored,     // converted
  global_failed,     // status
  vr_count,          // number of VR configuration records that were read
  vr_found,          // VR, interface, address type
  vr_begun,          // VR, interface
  vr_done,           // VR, interface
  vr_failed,         // status, text; after ip_count: of an IP association record
  ip_count,          // number of IP association records that were read
  ip_done,           // VR, interface
  bulk_read_failed,  // status
  handler_ended,     // the records are deleted
  handler_failed,    // status
  close_failed,      // status, text
  closed,            // the store
  ended,             // the call
  startup_ended      // without a conversion
};

struct TraceEvent {
  Event kind;
  std::vector<std::string> arguments{};
  unsigned stage = 0;  // ascends in a call
  unsigned after = 0;  // the call must have reached this stage before the event
};

// Returns nothing for a message that the library does not write in a call.
std::optional<TraceEvent> event_of(const TraceLine& line);

}  // namespace vrrpconvert
