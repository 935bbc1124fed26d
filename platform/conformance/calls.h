// The operations of the platform library, as the points call them. Before each call the status is filled; after it the
// memory of the arguments is overwritten. Each call verifies the rules that apply to every operation.
#pragma once

#include <map>
#include <string>

#include "platform/platform.h"

namespace conformance {

using Bytes = std::string;
using Records = std::map<Bytes, Bytes>;

// Loads the library into this process and looks up all operations. "-" is the program itself, with the platform linked
// in. If the library cannot be loaded or an operation is missing, prints a message and returns false.
bool load(const char* library);

// Time limit of an operation; SIGALRM then ends the process.
inline constexpr unsigned seconds_max = 60;

// The running call, in memory that the parent process reads.
inline constexpr size_t call_size = 256;
struct RunningCall {
  char text[call_size];
  unsigned number;  // of calls so far
};
extern RunningCall* running_call;

extern syserr_t status_before;  // value of the status before each call

// The failures of this process, one line each.
extern std::string failures;
void fail(const std::string& what, const std::string& expected, const std::string& got);
void expect(bool holds, const std::string& what, const std::string& expected,
            const std::string& got = "another result");

std::string hex(const Bytes& bytes);
std::string text_of(const Records& records);
void expect_records(const std::string& what, const Records& found, const Records& expected);

// The result of an operation that returns a datum: its bytes, or null.
struct DatumResult {
  std::string call;
  bool is_null;
  Bytes bytes;
  syserr_t status;

  std::string text() const;
  bool has(const Bytes& expected) const { return !is_null && bytes == expected; }
  void expect(const Bytes& expected, syserr_t expected_status = 0) const;
  void expect_none() const;     // null, SYSERR_PSS_NOKEY
  void expect_failure() const;  // a datum, and the status of a failure
};

// The result of pss_close, pss_store, pss_delete or pss_snapshot.
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

  DatumResult at(pss_location_t location) const;
  DatumResult at(const Bytes& key) const;
  DatumResult value() const;
  Result put(const Bytes& key, const Bytes& value, uint32 mode = PSS_REPLACE) const;
  Result remove(const Bytes& key) const;
  Result snapshot(const std::string& url) const;
  Result close() const;

  // Passes a datum that the platform returned back to the platform.
  enum class Return { key_to_move_and_delete, value_as_key_and_value, value_to_key };
  void give_back(Return how, const Bytes& key) const;

  // Walks the store and returns all records. Verifies that keys ascend.
  Records records() const;

 private:
  std::string url_;
  pss_service_t handle_ = 0;
  syserr_t status_;
};

std::string text_of_status(syserr_t status);
const char* version_text(const char* file);
uint32 bytes_of_index(uint32 index);

}  // namespace conformance
