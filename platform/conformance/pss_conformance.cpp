// pss_conformance LIBRARY CREATE URL: asks a platform library for the contract in platform/pss.h, point by point.
// CREATE is a shell command that makes an empty store at the URL in "$1". Stores are made at URL-1, URL-2 and so on,
// and snapshots at URL-1-snapshot: all must be free. Prints a line a point (TAP). Exit: 0 all points hold, 1 one does
// not, 2 the library cannot be asked.

#include <dlfcn.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "platform/platform.h"

namespace {

using Bytes = std::string;
using Records = std::map<Bytes, Bytes>;

// ---- The platform ----

// An operation of the library itself: one that is missing would be taken from elsewhere in a real process.
template <typename Operation>
struct Named {
  explicit Named(const char* its_name) : name(its_name) {}
  bool bind(void* library) {
    call = reinterpret_cast<Operation*>(dlsym(library, name));
    if (call == nullptr) fprintf(stderr, "pss_conformance: the library has no %s\n", name);
    return call != nullptr;
  }
  const char* name;
  Operation* call = nullptr;
};

#define OPERATION(name) Named<decltype(::name)> name(#name)
OPERATION(pss_open);
OPERATION(pss_close);
OPERATION(pss_move2key);
OPERATION(pss_move2location);
OPERATION(pss_getvalue);
OPERATION(pss_store);
OPERATION(pss_delete);
OPERATION(pss_snapshot);
OPERATION(syserr2str);
OPERATION(hton_if_index);
OPERATION(srg_sw_ver_file_get);
#undef OPERATION

bool bind_all(void* library) {
  const bool all[] = {pss_open.bind(library),          pss_close.bind(library),          pss_move2key.bind(library),
                      pss_move2location.bind(library), pss_getvalue.bind(library),       pss_store.bind(library),
                      pss_delete.bind(library),        pss_snapshot.bind(library),       syserr2str.bind(library),
                      hton_if_index.bind(library),     srg_sw_ver_file_get.bind(library)};
  return memchr(all, false, sizeof all) == nullptr;
}

// ---- What is asked ----

std::string failures;  // of the point that is being asked

void expect(bool holds, const char* what) {
  if (!holds) failures += std::string("#   ") + what + "\n";
}

std::string create_command, base_url;
int stores_made = 0;

pss_datum_t datum(const Bytes& bytes) { return {const_cast<char*>(bytes.data()), static_cast<uint32>(bytes.size())}; }
Bytes bytes_of(const pss_datum_t* datum) { return {static_cast<const char*>(datum->ptr), datum->siz}; }

// Where there is no key or value.
const Bytes none = "(none)", failed = "(failed)";

struct Table {
  pss_service_t handle = 0;
  syserr_t status = 1;  // of the last operation

  explicit Table(const std::string& url) { handle = pss_open.call(url.c_str(), &status); }
  bool is_open() const { return handle != 0 && status == 0; }

  // An operation writes its status whatever it is.
  syserr_t* new_status() {
    status = 1;
    return &status;
  }

  Bytes found(const pss_datum_t* key) const {
    return key == nullptr ? none : status != 0 && status != SYSERR_PSS_NOKEY ? failed : bytes_of(key);
  }
  Bytes at(pss_location_t location) { return found(pss_move2location.call(handle, location, new_status())); }
  Bytes at(const Bytes& key) {
    const pss_datum_t wanted = datum(key);
    return found(pss_move2key.call(handle, &wanted, new_status()));
  }
  Bytes value() {
    const pss_datum_t* found = pss_getvalue.call(handle, new_status());
    return found == nullptr ? none : status != 0 ? failed : bytes_of(found);
  }
  syserr_t put(const Bytes& key, const Bytes& value, uint32 mode = PSS_REPLACE) {
    const pss_datum_t k = datum(key), v = datum(value);
    return pss_store.call(handle, mode, &k, &v);
  }
  syserr_t remove(const Bytes& key) {
    const pss_datum_t k = datum(key);
    return pss_delete.call(handle, &k);
  }
  syserr_t close() { return pss_close.call(handle); }

  Records records() {
    Records all;
    for (Bytes key = at(PSS_FIRST_KEY); key != none && key != failed; key = at(PSS_NEXT_KEY)) {
      if (!all.emplace(key, value()).second || (all.size() > 1 && all.rbegin()->first != key)) {
        expect(false, "a walk meets each key once, in order");
        break;
      }
    }
    return all;
  }
};

Records records_of(const std::string& url) {
  Table table(url);
  expect(table.is_open(), "the store opens again");
  if (!table.is_open()) return {};
  const Records all = table.records();
  expect(table.close() == 0, "a store that was only read closes with status 0");
  return all;
}

// Makes a store of these records. Returns its URL.
std::string make(const Records& records) {
  const std::string url = base_url + "-" + std::to_string(++stores_made);
  const std::string command = "set -- '" + url + "'; " + create_command;
  Table table(system(command.c_str()) == 0 ? url : "");
  if (!table.is_open() || table.at(PSS_FIRST_KEY) != none) {
    fprintf(stderr, "pss_conformance: CREATE did not make an empty store at %s that opens: %s\n", url.c_str(),
            syserr2str.call(table.status));
    exit(2);
  }
  for (const auto& [key, value] : records) expect(table.put(key, value) == 0, "a record is stored");
  expect(table.close() == 0, "the store closes with status 0");
  return url;
}

const Records three = {{"a", "1"}, {"ab", "2"}, {"b", Bytes("\0x\0", 3)}};

// ---- The points, as numbered in platform/pss.h ----

void statuses() {
  for (const syserr_t status : {0u, SYSERR_PSS_NOKEY, 0xfedcba98u}) {
    const char* text = syserr2str.call(status);
    expect(text != nullptr && strchr(text, '\n') == nullptr, "every status has a text of one line");
  }
}

void opening() {
  for (int round = 0; round < 2; ++round) {
    const Table table(base_url + "-none");
    expect(table.status != 0 && table.handle == 0, "a store that is not there is not opened, and not created");
  }
  expect(Table("elsewhere:/x").status != 0, "a URL of another scheme is not opened");
}

// A process that was there before the library was loaded, as another one of the device's: stores a record in the store
// at the URL that it is told, and answers whether it could.
struct {
  int url, answer;
} second;

[[noreturn]] void store_as_second(const char* library, int url_end, int answer_end) {
  char url[512];
  const ssize_t length = read(url_end, url, sizeof url);
  if (length <= 0 || !bind_all(dlopen(library, RTLD_NOW | RTLD_LOCAL))) _exit(1);
  Table table(Bytes(url, static_cast<size_t>(length)));
  const bool stored = table.is_open() && table.put("d", "5") == 0;
  const char answer = table.is_open() && table.close() == 0 && stored ? 'y' : 'n';
  _exit(write(answer_end, &answer, 1) == 1 ? 0 : 1);
}

bool start_second(const char* library) {
  int url[2], answer[2];
  if (pipe(url) != 0 || pipe(answer) != 0) return false;
  const pid_t process = fork();
  if (process == 0) {
    close(url[1]);
    store_as_second(library, url[0], answer[1]);
  }
  close(url[0]), close(answer[1]);
  second = {url[1], answer[0]};
  return process > 0;
}

void two_at_once() {
  const std::string url = make(three);
  Table table(url);
  table.put("c", "4");
  expect(write(second.url, url.data(), url.size()) == static_cast<ssize_t>(url.size()), "the second process listens");
  // It may fail at once or after some seconds, or wait until this process is done with the store.
  pollfd answered = {second.answer, POLLIN, 0};
  poll(&answered, 1, 10000);
  expect(table.close() == 0, "the first process closes the store");
  char answer = '?';
  expect(read(second.answer, &answer, 1) == 1, "the second process ends");
  Records expected = three;
  expected["c"] = "4";
  if (answer == 'y') expected["d"] = "5";
  expect(records_of(url) == expected, "no change of two processes is lost");
}

void keys_and_values() {
  Records odd = {{Bytes("\0", 1), "zero"}, {"A", ""}, {"a", "1"}, {"a\x7f", "2"}, {"a\x80", "3"}};
  Bytes every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  odd[every.substr(230)] = every.substr(0, 137);
  odd["\xff"] = every.substr(119);
  for (const char* last : {"\1", "\2"}) odd[Bytes("\1\0\0\0\1", 5) + last] = "keys that differ behind a zero byte";
  expect(records_of(make(odd)) == odd, "every byte of keys and values comes back, in byte-wise order");
  const std::string url = make(three);
  Table table(url);
  const Bytes long_key(100000, 'k');
  const bool is_taken = table.put(long_key, "x") == 0;
  expect((table.at(long_key) == long_key) == is_taken, "a long key is stored whole, or refused");
  const bool is_kept = table.put("l", long_key) == 0;
  expect(table.at("l") == "l" ? table.value() == long_key : !is_kept, "a long value is stored whole, or refused");
  table.close();
}

void cursor_off_the_store() {
  Table table(make(three));
  expect(table.at(PSS_NEXT_KEY) == none && table.at(PSS_PREVIOUS_KEY) == none, "nothing is found after pss_open");
  expect(table.at(PSS_LAST_KEY) == "b" && table.at(PSS_PREVIOUS_KEY) == "ab" && table.at(PSS_PREVIOUS_KEY) == "a" &&
             table.at(PSS_NEXT_KEY) == "ab" && table.at(PSS_CURRENT_KEY) == "ab",
         "the cursor moves back and forth");
  expect(table.at(PSS_FIRST_KEY) == "a" && table.at(PSS_PREVIOUS_KEY) == none && table.at(PSS_NEXT_KEY) == none,
         "before the first record it is off the store");
  expect(table.at(PSS_LAST_KEY) == "b" && table.at(PSS_NEXT_KEY) == none && table.at(PSS_NEXT_KEY) == none,
         "behind the last record it is off the store");
  expect(table.at(PSS_FIRST_KEY) == "a" && table.at(PSS_NULL_KEY) == none && table.at(PSS_CURRENT_KEY) == none,
         "PSS_NULL_KEY takes it off the store");
  table.close();
}

void moves_to_keys() {
  Table table(make(three));
  expect(table.at("ab") == "ab" && table.status == 0, "a stored key, with status 0");
  expect(table.at("aa") == "ab" && table.status == SYSERR_PSS_NOKEY, "the next key, with SYSERR_PSS_NOKEY");
  expect(table.value() == "2", "the cursor is there");
  expect(table.at("c") == none && table.status == SYSERR_PSS_NOKEY, "null and SYSERR_PSS_NOKEY behind the last key");
  expect(table.at(PSS_NEXT_KEY) == none, "the cursor is off the store then");
  table.close();
}

void failing_moves() {
  Table table(make(three));
  const int number = 7;
  pss_location_t unknown;
  memcpy(&unknown, &number, sizeof unknown);
  expect(table.at(unknown) == failed, "a location of no meaning is not the end of the store");
  table.close();
  expect(table.at(PSS_FIRST_KEY) == failed && table.at("a") == failed, "nor is a handle that was closed");
}

void values_off_the_store() {
  Table table(make(three));
  expect(table.value() == none && table.status == SYSERR_PSS_NOKEY, "after pss_open");
  table.at("ab");
  table.remove("ab");
  expect(table.value() == none && table.status == SYSERR_PSS_NOKEY, "on a deleted record");
  table.close();
}

void changes_show_at_once() {
  Table table(make(three));
  table.at("ab");
  expect(table.put("ab", "new") == 0 && table.value() == "new", "a new value");
  expect(table.put("aa", "x") == 0 && table.at("aa") == "aa" && table.value() == "x", "a new record");
  expect(table.remove("a") == 0 && table.at(PSS_FIRST_KEY) == "aa", "a deleted record");
  table.close();
}

// Every record is rewritten, and others come and go, while a walk is under way.
void walks_among_changes() {
  Records many;
  for (int i = 100; i < 300; ++i) many["k" + std::to_string(i)] = Bytes(100, 'x');
  const std::string url = make(many);
  Table table(url);
  auto wanted = many.begin();
  for (Bytes key = table.at(PSS_FIRST_KEY); key != none; key = table.at(PSS_NEXT_KEY), ++wanted) {
    expect(wanted != many.end() && key == wanted->first && table.value() == wanted->second, "each record once");
    if (!failures.empty()) break;
    table.put(key, Bytes(20, 'y'));
    table.put("before" + key, "new");
    if (key.back() == '3') {
      table.remove(key);
      expect(table.at(PSS_CURRENT_KEY) == none, "a deleted record is not there");
    }
  }
  expect(wanted == many.end(), "no record is skipped");
  table.close();
  Table letters(make(three));
  expect(letters.at("ab") == "ab" && letters.remove("a") == 0 && letters.at(PSS_CURRENT_KEY) == "ab" &&
             letters.at(PSS_NEXT_KEY) == "b",
         "a record before the cursor is deleted");
  expect(letters.remove("b") == 0 && letters.put("c", "x") == 0 && letters.at(PSS_NEXT_KEY) == "c",
         "a record behind a deleted one comes next");
  letters.close();
  expect(records_of(url).size() == 200u + 200u - 20u, "all changes are kept");
}

void returned_data() {
  const std::string url = make(three);
  Table table(url);
  expect(table.at(PSS_LAST_KEY) == "b", "the last record is there");
  const pss_datum_t* value = pss_getvalue.call(table.handle, table.new_status());
  expect(value != nullptr && pss_store.call(table.handle, PSS_REPLACE, value, value) == 0,
         "a value is stored under itself");
  expect(table.at("a") == "a", "the first record is there");
  value = pss_getvalue.call(table.handle, table.new_status());
  const Bytes a = "a";
  const pss_datum_t key_of_a = datum(a);
  expect(value != nullptr && pss_store.call(table.handle, PSS_REPLACE, &key_of_a, value) == 0,
         "a record is replaced by its own value");
  const pss_datum_t* key = pss_move2location.call(table.handle, PSS_LAST_KEY, table.new_status());
  key = key != nullptr ? pss_move2key.call(table.handle, key, table.new_status()) : nullptr;
  expect(key != nullptr && table.status == 0 && pss_delete.call(table.handle, key) == 0,
         "a key is moved to, and deleted");
  expect(table.close() == 0, "the store closes with status 0");
  const Bytes& last = three.at("b");
  expect(records_of(url) == Records{{"a", "1"}, {"ab", "2"}, {last, last}}, "nothing else is touched");
}

void modes() {
  const std::string url = make(three);
  Table table(url);
  expect(table.put("a", "x", PSS_NEW_ONLY) != 0, "PSS_NEW_ONLY refuses a stored key");
  expect(table.put("c", "4", PSS_NEW_ONLY) == 0, "PSS_NEW_ONLY stores a new key");
  expect(table.put("ab", "", PSS_REPLACE) == 0, "PSS_REPLACE replaces");
  expect(table.remove("none") == SYSERR_PSS_NOKEY, "a key that is not stored is not deleted");
  table.close();
  expect(records_of(url) == Records{{"a", "1"}, {"ab", ""}, {"b", three.at("b")}, {"c", "4"}}, "and the rest stays");
}

void refused_changes() {
  const std::string url = make(three);
  Table table(url);
  expect(table.put("", "x") != 0 && table.put("a", "x", 77) != 0,
         "an empty key, and a mode of no meaning, are refused");
  const syserr_t closed = table.close();
  expect(records_of(url) == three && closed == 0, "a refused change changes nothing, and does not fail pss_close");
}

void ends_of_processes() {
  const std::string url = make(three);
  Table table(url);
  expect(table.close() == 0 && table.close() != 0, "pss_close ends the handle");
  const pid_t child = fork();
  if (child == 0) {
    Table lost(url);
    for (int i = 0; i < 5000; ++i) lost.put("new" + std::to_string(i), Bytes(100, 'n'));
    pss_snapshot.call(lost.handle, 0, (url + "-snapshot").c_str());
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  expect(records_of(url) == three, "a process that ends before it calls pss_close leaves the store as it was");
}

void snapshots() {
  const std::string url = make(three), snapshot = url + "-snapshot";
  Table table(url);
  table.at(PSS_FIRST_KEY);
  table.put("new", "x");
  table.remove("b");
  expect(pss_snapshot.call(table.handle, 0, snapshot.c_str()) == 0, "a snapshot is taken");
  expect(table.at(PSS_NEXT_KEY) == "ab", "the cursor stays");
  table.put("later", "y");
  expect(pss_snapshot.call(table.handle, 0, (base_url + "-none/s").c_str()) != 0, "where it cannot be, it fails");
  expect(table.close() == 0, "the store closes with status 0");
  expect(records_of(snapshot) == Records{{"a", "1"}, {"ab", "2"}, {"new", "x"}}, "it opens, and holds that moment");
  expect(records_of(url).count("later") == 1, "the store went on");
}

void snapshots_again() {
  const std::string url = make(three), snapshot = url + "-snapshot";
  Table table(url);
  for (const char* value : {"first", "second"}) {
    table.put("a", value);
    expect(pss_snapshot.call(table.handle, 0, snapshot.c_str()) == 0, "a second snapshot is taken at the same place");
  }
  table.close();
  expect(records_of(snapshot)["a"] == "second", "it is the later one");
}

void others() {
  expect(srg_sw_ver_file_get.call(nullptr) == nullptr, "a null path has no version text");
  expect(srg_sw_ver_file_get.call("/none/such") == nullptr, "nor has a file that is not there");
}

const struct {
  const char* title;
  void (*ask)();
} points[] = {{"statuses have texts", statuses},
              {"opening finds what exists", opening},
              {"two processes never change a store at once", two_at_once},
              {"keys and values of any bytes, in order", keys_and_values},
              {"the cursor off the store", cursor_off_the_store},
              {"moves to keys", moves_to_keys},
              {"a move that fails is not the end", failing_moves},
              {"values off the store", values_off_the_store},
              {"changes show at once", changes_show_at_once},
              {"changes among moves", walks_among_changes},
              {"returned data", returned_data},
              {"replacing, refusing, deleting", modes},
              {"changes that fail", refused_changes},
              {"closing, and processes that end", ends_of_processes},
              {"snapshots", snapshots},
              {"a snapshot where one stands", snapshots_again},
              {"version files", others}};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return fprintf(stderr, "usage: pss_conformance LIBRARY CREATE URL\n"), 2;
  if (!start_second(argv[1])) return perror("pss_conformance: no second process"), 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return fprintf(stderr, "pss_conformance: %s\n", dlerror()), 2;
  if (!bind_all(library)) return 2;
  create_command = argv[2];
  base_url = argv[3];

  int number = 0, status = 0;
  printf("1..%zu\n", std::size(points));
  for (const auto& [title, ask] : points) {
    failures.clear();
    fflush(stdout);
    ask();
    printf("%s %d - %s\n%s", failures.empty() ? "ok" : "not ok", ++number, title, failures.c_str());
    if (!failures.empty()) status = 1;
  }
  return status;
}
