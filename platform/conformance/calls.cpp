#include "platform/conformance/calls.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <list>

namespace conformance {
namespace {

#define FOR_EACH_OPERATION(DO) \
  DO(pss_open)                 \
  DO(pss_close)                \
  DO(pss_move2key)             \
  DO(pss_move2location)        \
  DO(pss_getvalue)             \
  DO(pss_store) DO(pss_delete) DO(pss_snapshot) DO(syserr2str) DO(hton_if_index) DO(srg_sw_ver_file_get)
struct {
// NOLINTNEXTLINE(bugprone-macro-parentheses): it declares the name
#define POINTER(name) decltype(&::name) name;
  FOR_EACH_OPERATION(POINTER)
#undef POINTER
} platform;

RunningCall no_call;

std::string number(uint32 value) {
  char text[16];
  snprintf(text, sizeof text, "0x%x", value);
  return text;
}

std::string shown(syserr_t status) {
  return status == 0 ? "0" : status == SYSERR_PSS_NOKEY ? "SYSERR_PSS_NOKEY" : number(status);
}

void begin(const std::string& call) {
  snprintf(running_call->text, call_size, "%s", call.c_str());
  ++running_call->number;
  alarm(seconds_max);
}

void expect_text(syserr_t status) {
  const std::string text = text_of_status(status);
  expect(!text.empty() && text.find('\n') == std::string::npos, "syserr2str(" + number(status) + ")",
         "a text of one line", "null, no text, or more than one line");
}

// Ends a call. Fails for status 2 or 3, which callers would take for VRRP_CNV_ERR_*.
syserr_t end(const std::string& call, syserr_t status) {
  alarm(0);
  if (status == 2 || status == 3) fail(call, "a status other than 2 and 3", number(status));
  if (status != 0 && status != status_before) expect_text(status);
  return status;
}

// A copy of an argument with one byte after it. The call must change neither. The destructor overwrites both and frees
// nothing: a platform that reads them later gets wrong bytes instead of a crash. An empty argument has a null pointer.
class Argument {
 public:
  explicit Argument(const Bytes& bytes) : bytes_(bytes + canary) {
    static std::list<std::pair<Bytes, pss_datum_t>> kept;
    kept.emplace_back(bytes_, pss_datum_t());
    copy_ = &kept.back();
    if (!bytes.empty()) copy_->second = {copy_->first.data(), static_cast<uint32>(bytes.size())};
  }
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;
  ~Argument() {
    expect(copy_->first == bytes_, "an argument", hex(bytes_), hex(copy_->first));
    memset(copy_->first.data(), 0xee, copy_->first.size());
    copy_->second.siz = 0;
  }
  const pss_datum_t* datum() const { return &copy_->second; }

 private:
  static constexpr char canary = 'c';
  const Bytes bytes_;
  std::pair<Bytes, pss_datum_t>* copy_;
};

DatumResult datum_result(const std::string& call, const pss_datum_t* datum, syserr_t status) {
  end(call, status);
  return {call, datum == nullptr, datum != nullptr ? Bytes(static_cast<const char*>(datum->ptr), datum->siz) : "",
          status};
}

}  // namespace

RunningCall* running_call = &no_call;
syserr_t status_before;
std::string failures;

bool load(const char* library) {
  void* loaded = dlopen(strcmp(library, "-") != 0 ? library : nullptr, RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) return fprintf(stderr, "pss_conformance: %s\n", dlerror()), false;
  bool is_complete = true;
#define BIND(name)                                                                                              \
  platform.name = reinterpret_cast<decltype(&::name)>(dlsym(loaded, #name));                                    \
  if (platform.name == nullptr) {                                                                               \
    is_complete =                                                                                               \
        fprintf(stderr, "pss_conformance: %s: cannot test: the operation %s is missing\n", library, #name) < 0; \
  }
  FOR_EACH_OPERATION(BIND)
#undef BIND
  return is_complete;
}

void fail(const std::string& what, const std::string& expected, const std::string& got) {
  failures += "#   " + what + ": expected " + expected + "; got " + got + "\n";
}

void expect(bool holds, const std::string& what, const std::string& expected, const std::string& got) {
  if (!holds) fail(what, expected, got);
}

std::string hex(const Bytes& bytes) {
  constexpr size_t shown_max = 40;
  std::string text;
  for (const char byte : bytes.substr(0, shown_max)) {
    for (const int half : {static_cast<unsigned char>(byte) >> 4, byte & 15}) text += "0123456789abcdef"[half];
  }
  return bytes.size() > shown_max ? text + "... (" + std::to_string(bytes.size()) + " bytes)" : "'" + text + "'";
}

std::string text_of(const Records& records) {
  std::string text = std::to_string(records.size()) + " records";
  if (records.size() > 8) return text;
  for (const auto& [key, value] : records) text += ", " + hex(key) + "=" + hex(value);
  return text;
}

void expect_records(const std::string& what, const Records& found, const Records& expected) {
  if (found == expected) return;
  for (const auto& [key, value] : expected) {
    const auto at = found.find(key);
    if (at == found.end()) return fail(what, "a record " + hex(key) + "=" + hex(value), text_of(found));
    if (at->second != value) return fail(what, hex(key) + "=" + hex(value), hex(key) + "=" + hex(at->second));
  }
  fail(what, text_of(expected), text_of(found));
}

std::string DatumResult::text() const { return (is_null ? "null" : hex(bytes)) + ", status " + shown(status); }

void DatumResult::expect(const Bytes& expected, syserr_t expected_status) const {
  if (!has(expected) || status != expected_status)
    fail(call, hex(expected) + ", status " + shown(expected_status), text());
}

void DatumResult::expect_none() const {
  if (!is_null || status != SYSERR_PSS_NOKEY) fail(call, "null, status SYSERR_PSS_NOKEY", text());
}

void DatumResult::expect_failure() const {
  if (is_null || !bytes.empty() || status == 0 || status == SYSERR_PSS_NOKEY || status == status_before) {
    fail(call, "a datum of size 0, and the status of a failure", text());
  }
}

void Result::expect(syserr_t expected) const {
  if (status != expected) fail(call, "status " + shown(expected), shown(status));
}

void Result::expect_refusal() const {
  if (status == 0) fail(call, "a status other than 0", "0");
}

Table::Table(const std::string& url) : url_(url), status_(status_before) {
  const std::string call = "pss_open(\"" + url + "\")";
  begin(call);
  const Argument copy(url + '\0');
  handle_ = platform.pss_open(static_cast<const char*>(copy.datum()->ptr), &status_);
  end(call, status_);
  if ((handle_ != 0) != (status_ == 0)) {
    fail(call, "a handle and status 0, or handle 0 and another status",
         "handle " + number(handle_) + ", status " + shown(status_));
    if (status_ != 0) handle_ = 0;
  }
}

DatumResult Table::at(pss_location_t location) const {
  static constexpr const char* names[] = {"NULL", "FIRST", "LAST", "NEXT", "PREVIOUS", "CURRENT"};
  const auto at = static_cast<size_t>(location);
  const std::string call =
      "pss_move2location(" + (at < 6 ? "PSS_" + std::string(names[at]) + "_KEY" : std::to_string(at)) + ")";
  syserr_t status = status_before;
  begin(call);
  const pss_datum_t* found = platform.pss_move2location(handle_, location, &status);
  return datum_result(call, found, status);
}

DatumResult Table::at(const Bytes& key) const {
  const std::string call = "pss_move2key(" + hex(key) + ")";
  syserr_t status = status_before;
  const pss_datum_t* found;
  {
    const Argument wanted(key);
    begin(call);
    found = platform.pss_move2key(handle_, wanted.datum(), &status);
  }
  return datum_result(call, found, status);
}

DatumResult Table::value() const {
  syserr_t status = status_before;
  begin("pss_getvalue()");
  const pss_datum_t* found = platform.pss_getvalue(handle_, &status);
  return datum_result("pss_getvalue()", found, status);
}

Result Table::put(const Bytes& key, const Bytes& value, uint32 mode) const {
  const std::string call = "pss_store(" + std::to_string(mode) + ", " + hex(key) + ", " + hex(value) + ")";
  const Argument k(key), v(value);
  begin(call);
  return {call, end(call, platform.pss_store(handle_, mode, k.datum(), v.datum()))};
}

Result Table::remove(const Bytes& key) const {
  const std::string call = "pss_delete(" + hex(key) + ")";
  const Argument k(key);
  begin(call);
  return {call, end(call, platform.pss_delete(handle_, k.datum()))};
}

Result Table::snapshot(const std::string& url) const {
  const std::string call = "pss_snapshot(\"" + url + "\")";
  const Argument copy(url + '\0');
  begin(call);
  return {call, end(call, platform.pss_snapshot(handle_, 0, static_cast<const char*>(copy.datum()->ptr)))};
}

Result Table::close() const {
  begin("pss_close()");
  return {"pss_close()", end("pss_close()", platform.pss_close(handle_))};
}

void Table::give_back(Return how, const Bytes& key) const {
  at(key).expect(key);
  syserr_t status = status_before;
  const Argument same(key);
  begin("a call with a datum that the previous call returned");
  if (how == Return::key_to_move_and_delete) {
    const pss_datum_t* found = platform.pss_move2location(handle_, PSS_CURRENT_KEY, &status);
    found = found != nullptr ? platform.pss_move2key(handle_, found, &status) : nullptr;
    const bool is_found = found != nullptr && status == 0;
    expect(is_found && platform.pss_delete(handle_, found) == 0, "pss_move2key and pss_delete with a returned key",
           "status 0");
  } else {
    const pss_datum_t* value = platform.pss_getvalue(handle_, &status);
    // Returned data stay valid while calls do not use the handle.
    for (const std::string& url : {std::string("conformance:none"), url_ + "-none"}) (void)Table(url);
    if (how == Return::value_to_key) (void)Table(url_);  // some platforms wait before they refuse that
    (void)version_text("/none");
    const pss_datum_t* its_key = how == Return::value_to_key ? same.datum() : value;
    expect(value != nullptr && platform.pss_store(handle_, PSS_REPLACE, its_key, value) == 0,
           "pss_store with a returned value", "status 0");
  }
  alarm(0);
}

Records Table::records() const {
  Records all;
  for (DatumResult key = at(PSS_FIRST_KEY); !key.is_null; key = at(PSS_NEXT_KEY)) {
    if (key.status != 0) return key.expect(key.bytes), all;
    if (!all.empty() && key.bytes <= all.rbegin()->first) {
      fail(key.call, "a key after " + hex(all.rbegin()->first), hex(key.bytes));
      break;
    }
    const DatumResult found = value();
    if (found.is_null || found.status != 0) return fail(found.call, "a value, status 0", found.text()), all;
    all[key.bytes] = found.bytes;
  }
  return all;
}

std::string text_of_status(syserr_t status) {
  begin("syserr2str(" + number(status) + ")");
  const char* text = platform.syserr2str(status);
  alarm(0);
  return text != nullptr ? text : "\n";
}

const char* version_text(const char* file) {
  begin("srg_sw_ver_file_get()");
  const char* text = platform.srg_sw_ver_file_get(file);
  alarm(0);
  return text;
}

uint32 bytes_of_index(uint32 index) {
  begin("hton_if_index()");
  const uint32 bytes = platform.hton_if_index(index);
  alarm(0);
  return bytes;
}

}  // namespace conformance
