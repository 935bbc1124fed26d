// Records as lines of JSON.
//
// The readable form names the record's kind ("vr", "ip_assoc", "global_info"), its layout ("old", "new"; the global
// info record has one layout only) and its fields:
//
//     integers       numbers
//     bool           true, false, or a number other than 0 and 1
//     enumerations   addr_type: unknown ipv4 ipv6; admin: up down; auth: no text ip
//     addresses      "192.0.2.1", "2001:db8::1", or null for an unset one
//     bytes          text that zero bytes fill up, or {"hex": "..."}; "reserved" is left out when it is zero
//
// Its key is built from its fields. A record that this form does not carry byte for byte has the raw form, which any
// record can have: {"store_key": "HEX", "value": "HEX"}.
#ifndef TOOL_RECORD_TEXT_H
#define TOOL_RECORD_TEXT_H

#include <stdexcept>
#include <string>

#include "tool/record_fields.h"
#include "tool/store.h"

namespace vrrpconvert {

// Why a line is no record. The message names the field.
struct BadRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// `record` as a line without a line break: in its readable form where that is exact, else in its raw form. With
// `reveal` it is the very record; else a secret is "(hidden)".
std::string line_of(const StoredRecord& record, bool reveal = true);

std::string raw_line_of(const StoredRecord& record);

// Throws BadRecord.
StoredRecord record_of_line(const std::string& line);

}  // namespace vrrpconvert

#endif
