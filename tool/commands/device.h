// One device of a fleet: what the dry run of a conversion reported of its store.
#ifndef TOOL_COMMANDS_DEVICE_H
#define TOOL_COMMANDS_DEVICE_H

#include <istream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tool/support/error.h"
#include "tool/support/json_writer.h"
#include "tool/support/name_list.h"

namespace vrrpconvert {

struct Device {
  std::string name, store, from, to;
  unsigned exit = exit_bad_input;  // of the dry run
  std::string reason, problem;     // empty: none
  size_t records = 0, changes = 0, failures = 0;
  std::map<std::string, NameList> lost, accepted;  // by field
  std::map<std::string, NameList> failing;         // by reason
  NameList added;

  // "damaged", "in use", "would fail", "contradiction", "loss", "accepted" or "clean".
  std::string verdict() const;

  // 0 for the worst: devices are shown in this order.
  int rank() const;

  // "bfd_peer_ip 2, forwarding_state 3"
  std::string lost_text() const;

  void write(JsonWriter& json) const;
};

// Reads the report of `convert --dry-run --json`, with or without its lists. Losses of `accepted` fields are no reason
// to refuse. Where it is none, the device says so.
Device device_of_report(const std::string& name, std::istream& report, const std::set<std::string>& accepted);

struct Fleet {
  std::string from, to;  // empty where the reports say
  std::vector<Device> devices;

  std::map<std::string, size_t> verdicts() const;

  struct Lost {
    size_t devices = 0, records = 0;
  };
  std::map<std::string, Lost> lost() const;  // by field

  Exit exit() const;  // of the worst device
};

// The overview as one page of HTML, which needs nothing beside itself.
std::string html_of(const Fleet& fleet);

}  // namespace vrrpconvert

#endif
