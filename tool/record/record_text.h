// Records as JSON, one line per record.
//
// The readable form names the record's kind ("vr", "ip_assoc", "global_info"), its layout ("old", "new"; the global
// info record has one layout only) and its fields:
//
//     integers       numbers
//     bool           true, false, or a number other than 0 and 1
//     enumerations   addr_type: unknown ipv4 ipv6; admin: up down; auth: no text ip
//     addresses      "192.0.2.1", "2001:db8::1", or null for an unset one
//     bytes          text padded with zeros, or {"hex": "..."}; a zero "reserved" is omitted
//
// The fields determine the key. If the readable form is not exact, the record has the raw form: {"store_key": "HEX",
// "value": "HEX"}.
#pragma once

#include <string_view>

#include "tool/record/bad_record.h"
#include "tool/record/record_fields.h"
#include "tool/record/stored_record.h"
#include "tool/support/json_writer.h"

namespace vrrpconvert {

// Writes `record` in its readable form if that is exact, else in its raw form. Unless `reveal` is set, writes
// "(hidden)" for a secret, and for the value of a raw form that contains one.
void write_record(JsonWriter& json, const StoredRecord& record, bool reveal = true);

void write_raw_record(JsonWriter& json, const StoredRecord& record, bool reveal = true);

// Writes the virtual router of a VR configuration or an IP association as members of an object: "vr_id", "ifindex" and
// "addr_type". They are null for any other record.
void write_identity(JsonWriter& json, const StoredRecord& record);

// Parses a line. Throws BadRecord.
StoredRecord record_of_line(std::string_view line);

// Parses the value of a field on the command line: a number, "0x10", "yes", "no", or a text as in a line. Throws
// BadRecord.
Bytes field_of_text(const Field& field, const std::string& text);

}  // namespace vrrpconvert
