// A process that never loads the platform and starts new ones that do: what they see is what another process sees, and
// nothing is forked after the platform was used.
#pragma once

#include <string>

#include "platform/conformance/calls.h"

namespace conformance {

// Starts it. Call before the library is loaded. Returns false if it cannot be started.
bool start_second_process(const char* library, const char* create_command);

// Makes an empty store by the command.
bool create(const std::string& url);

// A new process stores a record and closes the store. Ask for the answer later: it may wait for this process.
void begin_to_store(const std::string& url, const Bytes& key, const Bytes& value);
bool wait_for_store(int milliseconds);  // whether it answered
bool has_stored();

// A new process changes the store and takes a snapshot at URL-snapshot, and ends without pss_close.
void change_without_close(const std::string& url, size_t records);

// The records that a new process reads.
Records records_elsewhere(const std::string& url);

}  // namespace conformance
