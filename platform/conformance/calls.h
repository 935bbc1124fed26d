// The operations of the platform library, as the points call them. Every call fills its status beforehand, gives its
// arguments in memory that is overwritten afterwards, and is checked for what holds for each operation.
#pragma once

#include <map>
#include <string>

#include "platform/platform.h"

namespace conformance {

using Bytes = std::string;
using Records = std::map<Bytes, Bytes>;

// Loads the library into this process, which is "-" if the platform is linked into the program itself, and takes all
// operations from it: one that is missing would come from elsewhere in a real process. Returns false after a message.
bool load(const char* library);

// How long an operation may take before the process is ended by SIGALRM.
inline constexpr unsigned seconds_max = 60;

// The call that runs, in memory that the parent process reads.
inline constexpr size_t call_size = 256;
struct RunningCall {
  char text[call_size];
  unsigned number;  // of calls so far
};
extern RunningCall* running_call;

extern syserr_t status_before;  // in every status before a call

// The failures of this process, as lines of text.
extern std::string failures;
void fail(const std::string& what, const std::string& expected, const std::string& came);
void expect(bool holds, const std::string& what, const std::string& expected, const std::string& came = "not so");

std::string hex(const Bytes& bytes);
std::string text_of(const Records& records);
void expect_records(const std::string& what, const Records& found, const Records& expected);

// What an operation returned: the bytes of a datum, or null.
struct Answer {
  std::string call;
  bool is_null;
  Bytes bytes;
  syserr_t status;

  std::string text() const;
  bool has(const Bytes& expected) const { return !is_null && bytes == expected; }
  void expect(const Bytes& expected, syserr_t expected_status = 0) const;
  void expect_none() const;     // null, SYSERR_PSS_NOKEY
  void expect_failure() const;  // a datum, and a status of a failure
};

// What pss_close, pss_store, pss_delete or pss_snapshot returned.
struct Result {
  std::string call;
  syserr_t status;

  bool is_done() const { return status == 0; }
  void expect(syserr_t expected) const;
  void expect_done() const { expect(0); }
  void expect_refusal() const;
};

class Table {
 public:
  explicit Table(const std::string& url);
  pss_service_t handle() const { return handle_; }
  bool is_open() const { return handle_ != 0; }
  syserr_t status() const { return status_; }  // of pss_open

  Answer at(pss_location_t location) const;
  Answer at(const Bytes& key) const;
  Answer value() const;
  Result put(const Bytes& key, const Bytes& value, uint32 mode = PSS_REPLACE) const;
  Result remove(const Bytes& key) const;
  Result snapshot(const std::string& url) const;
  Result close() const;

  // A datum that the platform returned goes back to it as it is.
  enum class Return { key_to_move_and_delete, value_as_key_and_value, value_to_key };
  void give_back(Return how, const Bytes& key) const;

  // All records by a walk, which is checked for order and repetition.
  Records records() const;

 private:
  pss_service_t handle_ = 0;
  syserr_t status_;
};

std::string text_of_status(syserr_t status);
const char* version_text(const char* file);
uint32 bytes_of_index(uint32 index);

}  // namespace conformance
