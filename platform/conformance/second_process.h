// A process that starts other processes. It never loads the platform. The processes that it starts load it, and report
// the state of the store as another process sees it. So no process forks after it has used the platform.
#pragma once

#include <string>

#include "platform/conformance/calls.h"

namespace conformance {

// Starts the process. Call before load(). Returns false if it cannot be started.
bool start_second_process(const char* library, const char* create_command);

// Runs the command that creates an empty store. Returns whether it succeeded.
bool create(const std::string& url);

// Starts a process that stores a record and closes the store. It may wait for this process, so has_stored() returns the
// result later.
void begin_to_store(const std::string& url, const Bytes& key, const Bytes& value);
bool wait_for_store(int milliseconds);  // whether it has responded
bool has_stored();

// Runs a process that changes the store, takes a snapshot at URL-snapshot, and ends without pss_close: at once, or by
// exit(), which runs the destructors of static objects.
enum class Ending { at_once, by_exit };
void change_without_close(const std::string& url, size_t records, Ending ending);

// Returns the records that a new process reads.
Records records_elsewhere(const std::string& url);

}  // namespace conformance
