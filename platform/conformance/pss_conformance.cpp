// pss_conformance LIBRARY CREATE URL: asks a platform library for the contract in platform/pss.h, point by point.
// CREATE is a shell command that makes an empty store at the URL in "$1". Stores are made at URL-1, URL-2 and so on,
// and snapshots at URL-1-snapshot: all must be free. Prints a line a point (TAP). Exit: 0 all points hold, 1 one does
// not, 2 the library cannot be asked.

#include <dlfcn.h>
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

  Bytes found(const pss_datum_t* key) const {
    return key == nullptr ? none : status != 0 && status != SYSERR_PSS_NOKEY ? failed : bytes_of(key);
  }
  Bytes at(pss_location_t location) { return found(pss_move2location.call(handle, location, &status)); }
  Bytes at(const Bytes& key) {
    const pss_datum_t wanted = datum(key);
    return found(pss_move2key.call(handle, &wanted, &status));
  }
  Bytes value() {
    const pss_datum_t* found = pss_getvalue.call(handle, &status);
    return found == nullptr ? none : bytes_of(found);
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
  expect(system(command.c_str()) == 0, "CREATE makes an empty store");
  Table table(url);
  expect(table.is_open() && table.at(PSS_FIRST_KEY) == none, "the store that CREATE made opens, and is empty");
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
  const std::string url = base_url + "-none";
  for (int round = 0; round < 2; ++round) expect(Table(url).status != 0, "a store that is not there is not opened");
  expect(Table("elsewhere:/x").status != 0, "a URL of another scheme is not opened");
}

void two_at_once() {
  const std::string url = make(three);
  Table table(url);
  table.put("c", "4");
  const pid_t child = fork();
  if (child == 0) {
    Table other(url);
    if (other.is_open()) other.put("d", "5"), other.close();
    _exit(other.is_open() ? 0 : 1);
  }
  // It may fail at once or after some seconds, or wait until this process is done with the store.
  int ended = 0;
  bool has_ended = false;
  for (int tenths = 0; !has_ended && tenths < 100; ++tenths) {
    usleep(100000);
    has_ended = waitpid(child, &ended, WNOHANG) == child;
  }
  expect(table.close() == 0, "the first process closes the store");
  if (!has_ended) waitpid(child, &ended, 0);
  Records expected = three;
  expected["c"] = "4";
  const bool other_stored = WIFEXITED(ended) && WEXITSTATUS(ended) == 0;
  if (other_stored) expected["d"] = "5";
  expect(records_of(url) == expected, "no change of two processes is lost");
}

void keys_and_values() {
  Records odd = {{Bytes("\0", 1), "zero"}, {"A", ""}, {"a", "1"}, {"a\x7f", "2"}, {"a\x80", "3"}};
  Bytes every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  odd[every.substr(230)] = every.substr(0, 137);
  odd["\xff"] = every;
  expect(records_of(make(odd)) == odd, "every byte of keys and values comes back, in byte-wise order");
  const std::string url = make(three);
  Table table(url);
  const Bytes long_key(100000, 'k');
  const bool is_taken = table.put(long_key, "x") == 0;
  expect((table.at(long_key) == long_key) == is_taken, "a long key is stored whole, or refused");
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
  expect(records_of(url).size() == 200u + 200u - 20u, "all changes are kept");
}

void returned_data() {
  const std::string url = make(three);
  Table table(url);
  const pss_datum_t* key = pss_move2location.call(table.handle, PSS_LAST_KEY, &table.status);
  const pss_datum_t own_key = *key, *value = pss_getvalue.call(table.handle, &table.status);
  expect(pss_store.call(table.handle, PSS_REPLACE, value, &own_key) == 0, "a value is stored as a key");
  table.at(PSS_FIRST_KEY);
  key = pss_move2location.call(table.handle, PSS_CURRENT_KEY, &table.status);
  key = pss_move2key.call(table.handle, key, &table.status);
  expect(table.status == 0 && pss_delete.call(table.handle, key) == 0, "a returned key is moved to, and deleted");
  expect(table.close() == 0, "the store closes with status 0");
  Records expected = three;
  expected[three.at("b")] = "b";
  expected.erase(expected.begin());
  expect(records_of(url) == expected || !failures.empty(), "nothing else is touched");
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
    for (int i = 0; i < 5000; ++i) lost.put("new" + std::to_string(i), Bytes(1000, 'n'));
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  const Records found = records_of(url);
  expect(found == three || found.size() == 5003, "a process that ends before pss_close leaves the store old or new");
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
              {"a snapshot where one stands", snapshots_again}};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return fprintf(stderr, "usage: pss_conformance LIBRARY CREATE URL\n"), 2;
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
