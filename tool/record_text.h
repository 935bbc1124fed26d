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

#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>

#include "tool/record_fields.h"
#include "tool/store.h"

namespace vrrpconvert {

using Json = nlohmann::ordered_json;

// JSON as text; bytes that are no UTF-8, as in a path, are replaced.
std::string dumped(const Json& json);

// Why a line is no record. The message names the field.
struct BadRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// `record` in its readable form where that is exact, else in its raw form.
Json json_of(const StoredRecord& record);

// The same as a line, without a line break.
std::string line_of(const StoredRecord& record);

std::string raw_line_of(const StoredRecord& record);

Json json_of_field(const Field& field, std::span<const uint8> bytes);

// A field for people: "-" when it is unset, "(hidden)" for a secret that is not to be revealed.
std::string text_of_field(const Field& field, std::span<const uint8> bytes, bool reveal);

// Throws BadRecord.
StoredRecord record_of_line(const std::string& line);

}  // namespace vrrpconvert

#endif
