#include "platform/conformance/points.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "platform/conformance/calls.h"
#include "platform/conformance/second_process.h"

namespace conformance {
namespace {

const Records three = {{"a", "1"}, {"ab", "2"}, {"b", Bytes("\0x\0", 3)}};

// Creates a store with these records and returns its URL. Throws std::runtime_error if CREATE fails or the new store
// does not open.
std::string make(const Settings& settings, const Records& records) {
  static int made = 0;
  const std::string url = settings.url + "-" + std::to_string(++made);
  if (!create(url)) throw std::runtime_error(url + ": cannot create: CREATE failed");
  const Table table(url);
  if (!table.is_open()) {
    throw std::runtime_error(url + ": cannot open the new store: " + text_of_status(table.status()));
  }
  for (const auto& [key, value] : records) table.put(key, value).expect_done();
  table.close().expect_done();
  return url;
}

// Opens an existing store. Throws std::runtime_error if pss_open fails.
Table opened(const std::string& url) {
  const Table table(url);
  if (!table.is_open()) throw std::runtime_error(url + ": cannot open: " + text_of_status(table.status()));
  return table;
}

Records records_in(const std::string& url) {
  const Table table(url);
  expect(table.is_open(), "pss_open(\"" + url + "\")", "the store", text_of_status(table.status()));
  if (!table.is_open()) return {};
  const Records records = table.records();
  table.close().expect_done();
  return records;
}

Records many(const Settings& settings) {
  Records records;
  for (size_t i = 0; i < settings.records; ++i) {
    char key[27];
    snprintf(key, sizeof key, "k%025zu", i);
    records[key] = Bytes(137, static_cast<char>('a' + i % 26));
  }
  return records;
}

// Returns the file of a store.
std::string file_of(const Settings& settings, const std::string& url) {
  return settings.files + "/" + url.substr(url.find(':') + 1);
}

std::string content_of(const std::string& file_name) {
  std::ifstream file(file_name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// ---- The points ----

void statuses(const Settings& settings) {
  for (const syserr_t status : {0u, SYSERR_PSS_NOKEY, SYSERR_SYSMGR_VDC_UNKNOWN_VDC_ID, 0xfedcba98u}) {
    const std::string text = text_of_status(status);
    expect(!text.empty() && text.find('\n') == std::string::npos, "syserr2str", "a text of one line", text);
  }
  const std::string url = make(settings, three);
  const Table table = opened(url);
  table.put("", "x").expect_refusal();
  for (const uint32 mode : {2u, 3u, 4u, 77u, 0x100u, 0x101u, 0xffffffffu}) {
    for (const char* key : {"a", "new"}) table.put(key, "x", mode).expect_refusal();
  }
  table.remove("").expect_refusal();
  const DatumResult nothing = table.at("");
  expect(nothing.status != 0, nothing.call, "a status other than 0", nothing.text());
  table.close();
  table.close().expect_refusal();
  const Table other = opened(make(settings, three));
  if (other.handle() != table.handle()) {
    table.at("a").expect_failure();
    table.remove("a").expect_refusal();
  }
  other.close();
  table.put("x", "y").expect_refusal();
  table.remove("a").expect_refusal();
  table.snapshot(url + "-snapshot").expect_refusal();
  const DatumResult value = table.value();
  expect(value.is_null && value.status != 0, "pss_getvalue() of a closed store", "null and a status other than 0",
         value.text());
}

void opening(const Settings& settings) {
  for (int round = 0; round < 2; ++round) {
    const Table table(settings.url + "-none");
    expect(!table.is_open() && table.status() != status_before, "pss_open of a missing store", "handle 0 and a status");
    if (table.is_open()) table.close();
  }
  if (create(settings.url + "-none")) opened(settings.url + "-none").close().expect_done();
  const std::string url = make(settings, three);
  expect(!Table("elsewhere:" + url.substr(url.find(':') + 1)).is_open(), "pss_open with another scheme", "no store");
  // A platform that truncates a URL to a usual size would open one of these stores.
  const std::string longest = url + "-" + std::string(256, 'u');
  for (const size_t size : {63, 64, 127, 128, 129, 191, 192, 199, 200, 254, 255}) {
    if (size > url.size() + 1) (void)create(longest.substr(0, size));  // the file system may have a lower limit
  }
  expect(!Table(longest.substr(0, 256)).is_open(), "pss_open with a URL of 256 characters", "no store");
}

// A file that is not a whole store is refused. It is never opened as a store with fewer records.
void opening_other_files(const Settings& settings) {
  if (settings.files.empty()) return;
  Settings few = settings;
  few.records = 100;
  const Records records = many(few);
  const std::string url = make(settings, records), file = file_of(settings, url), content = content_of(file);
  const size_t size = content.size();
  std::string damaged = content;
  damaged.replace(size / 2, size / 4, size / 4, '\0');
  const std::pair<const char*, std::string> contents[] = {{"a text", std::string(size, 'x')},
                                                          {"half of a store", content.substr(0, size / 2)},
                                                          {"most of a store", content.substr(0, size - 200)},
                                                          {"a store with zeroed bytes", damaged},
                                                          {"a store", content}};
  for (const auto& [what, bytes] : contents) {
    std::ofstream(file) << bytes;
    const Table table(url);
    if (bytes == content) expect(table.is_open(), "pss_open of the intact store again", "a handle");
    if (!table.is_open()) continue;
    const size_t found = table.records().size();
    expect(found == records.size(), std::string("pss_open of ") + what, "no store, or all records",
           std::to_string(found) + " records");
    table.close();
  }
  expect(unlink(file.c_str()) == 0 && mkdir(file.c_str(), 0700) == 0, file, "a file that can be replaced");
  expect(!Table(url).is_open(), "pss_open of a directory", "no store");
}

void keys_and_values(const Settings& settings) {
  Records odd = {{"a\x7f", "2"}, {"a\x80", "3"}};
  Bytes every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  odd[every.substr(230)] = every.substr(0, 137);
  odd["\xff"] = every.substr(119);
  for (const char byte : every) odd["k" + Bytes(1, byte) + "k"] = odd[Bytes(1, byte)] = "v" + Bytes(1, byte);
  odd["A"] = odd[Bytes("\0", 1)] = "";
  for (const char* last : {"\1", "\2"}) odd[Bytes("\1\0\0\0\1", 5) + last] = "keys that differ after a zero byte";
  expect_records("keys and values that contain every byte", records_in(make(settings, odd)), odd);

  // The platform stores a key or value of each size completely, or refuses it. A later session reads the same records.
  const std::string url = make(settings, three);
  Records expected = three;
  const Table table = opened(url);
  for (const size_t size : {27, 64, 65, 128, 255, 256, 257, 1000, 1024, 1025, 4096, 4097, 65536, 100000}) {
    const Bytes sized(size, 's'), key = "v" + std::to_string(size);
    if (table.put(sized, "x").is_done()) expected[sized] = "x";
    if (table.put(key, sized).is_done()) expected[key] = sized;
  }
  expect_records("keys and values of 27 to 100,000 bytes", table.records(), expected);
  table.close().expect_done();
  expect_records("keys and values of 27 to 100,000 bytes, in a later session", records_in(url), expected);
  const Table again = opened(url);
  for (const auto& [key, value] : expected) {
    again.at(key).expect(key);
    again.remove(key).expect_done();
  }
  again.close().expect_done();
}

void capacity(const Settings& settings) {
  const Records records = many(settings);
  const std::string url = make(settings, {});
  const Table table = opened(url);
  for (const auto& [key, value] : records) table.put(key, value).expect_done();
  expect_records("the records of one session", table.records(), records);
  table.close();
}

void expect_off(const Table& table) {
  for (const pss_location_t location : {PSS_CURRENT_KEY, PSS_NEXT_KEY, PSS_PREVIOUS_KEY})
    table.at(location).expect_none();
}

// Plays calls on a store, separated by blanks:
//     F=a L=a N=a P=a C=a 0=.  move to the first, last, next, previous, current key, off the store; finds a, or "."
//     none
//     @f  @f>foo  @f>.         move to the key f; finds it, the next key foo, or none
//     v=1  v=.                 the value under the cursor
//     +k=1  *k=1               store, store where k is new
//     -k  ~k                   delete, delete what is not stored
//     ?k  !k                   store where k must be new, delete what may be absent; the platform may refuse both
//     off                      the cursor is off the store
void play(const Table& table, const std::string& script) {
  std::istringstream calls(script);
  for (std::string call; calls >> call;) {
    const char what = call[0];
    const Bytes rest = call.substr(1), left = rest.substr(0, rest.find_first_of("=>"));
    const Bytes right = left.size() < rest.size() ? rest.substr(left.size() + 1) : "";
    const size_t location = std::string("0FLNPC").find(what);
    constexpr pss_location_t locations[] = {PSS_NULL_KEY, PSS_FIRST_KEY,    PSS_LAST_KEY,
                                            PSS_NEXT_KEY, PSS_PREVIOUS_KEY, PSS_CURRENT_KEY};
    if (location != std::string::npos) {
      right == "." ? table.at(locations[location]).expect_none() : table.at(locations[location]).expect(right);
    } else if (what == '@') {
      right.empty()  ? table.at(left).expect(left)
      : right == "." ? table.at(left).expect_none()
                     : table.at(left).expect(right, SYSERR_PSS_NOKEY);
    } else if (what == 'v') {
      right == "." ? table.value().expect_none() : table.value().expect(right);
    } else if (what == '+') {
      table.put(left, right).expect_done();
    } else if (what == '*') {
      table.put(left, right, PSS_NEW_ONLY).expect_done();
    } else if (what == '-' || what == '~') {
      table.remove(left).expect(what == '-' ? 0 : SYSERR_PSS_NOKEY);
    } else if (what == '?') {
      table.put(left, "x", PSS_NEW_ONLY);
    } else if (what == '!') {
      table.remove(left);
    } else if (call == "off") {
      expect_off(table);
    } else {
      throw std::logic_error("the script of a point: " + call);
    }
  }
}

// Plays calls on a new store with these records, and closes it.
void play_new(const Settings& settings, const Records& records, const std::string& script) {
  const Table table = opened(make(settings, records));
  play(table, script);
  table.close().expect_done();
}

const Records letters = {{"a", "1"}, {"ab", "2"}, {"b", "3"}};

void cursor_off_the_store(const Settings& settings) {
  play_new(settings, letters, "off L=b P=ab P=a N=ab C=ab F=a P=. off L=b N=. off F=a 0=. off L=b");
  const std::string url = make(settings, letters);
  for (int session = 0; session < 2; ++session) {
    const Table table = opened(url);
    play(table, "off L=b");
    table.close().expect_done();
  }
  play_new(settings, {}, "F=. L=. off");
}

void moves_to_keys(const Settings& settings) {
  const Table table = opened(make(settings, {{"a", "1"}, {"ab", "2"}, {"b", "3"}, {"foo", "4"}}));
  play(table, "@f>foo @fo>foo @ab v=2");
  table.at(Bytes("a\0", 2)).expect("ab", SYSERR_PSS_NOKEY);
  play(table, "v=2 N=b @0>a N=ab @g>. off");
  table.close();
}

void failing_moves(const Settings& settings) {
  const Table table = opened(make(settings, three));
  table.at(PSS_FIRST_KEY).expect("a");
  for (const int number : {6, 7}) {
    pss_location_t unknown;
    memcpy(&unknown, &number, sizeof unknown);
    table.at(unknown).expect_failure();
  }
  table.at("").expect_failure();
  const Table none(settings.url + "-none");
  if (!none.is_open()) none.at(PSS_FIRST_KEY).expect_failure();
  table.close();
  table.at(PSS_FIRST_KEY).expect_failure();
  table.at("a").expect_failure();
}

// Rewrites, adds and deletes records during walks.
void walks_among_changes(const Settings& settings) {
  Records records;
  for (int i = 100; i < 300; ++i) records["k" + std::to_string(i)] = Bytes(100, 'x');
  const Table table = opened(make(settings, records));
  DatumResult key = table.at(PSS_FIRST_KEY);
  for (const auto& [wanted, value] : records) {
    key.expect(wanted);
    table.value().expect(value);
    if (!failures.empty()) break;
    table.put(wanted, Bytes(20, 'y')).expect_done();
    table.put("before" + wanted, "new").expect_done();
    if (wanted.back() == '3') {
      table.remove(wanted).expect_done();
      table.at(PSS_CURRENT_KEY).expect_none();
    }
    key = table.at(PSS_NEXT_KEY);
  }
  expect(key.is_null, key.call, "the end of the walk", key.text());
  table.close().expect_done();

  const Table emptied = opened(make(settings, records));
  emptied.at(PSS_FIRST_KEY).expect(records.begin()->first);
  for (auto record = records.begin(); record != records.end() && failures.empty();) {
    emptied.remove(record->first).expect_done();
    const DatumResult next = emptied.at(PSS_NEXT_KEY);
    ++record != records.end() ? next.expect(record->first) : next.expect_none();
  }
  for (const pss_location_t location : {PSS_FIRST_KEY, PSS_LAST_KEY}) {
    emptied.put("m", "1").expect_done();
    emptied.at("m").expect("m");
    emptied.remove("m").expect_done();
    emptied.at(location).expect_none();
    emptied.put("n", "2").expect_done();
    expect_off(emptied);
    emptied.remove("n").expect_done();
  }
  emptied.close().expect_done();

  play_new(settings, {{"b", "1"}, {"d", "2"}, {"f", "3"}, {"h", "4"}, {"j", "5"}},
           "@f -h C=f +h=4 +b=o +d=o +h=o +j=o !c !g !none ?b C=f -f -b +a=x +e=x +g=x C=. N=g -g -h N=j -j +i=x N=. "
           "@e -e +da=x P=da");
  play_new(settings, letters,
           "@ab +aa=x P=aa -aa N=ab -a C=ab +a=1 N=b -b P=ab @b>. +b=3 @b -b +c=x N=c F=a -a N=ab -ab P=.");
}

void returned_data(const Settings& settings) {
  const std::string url = make(settings, three);
  const Table table = opened(url);
  table.give_back(Table::Return::value_as_key_and_value, "b");
  table.give_back(Table::Return::value_to_key, "a");
  table.give_back(Table::Return::key_to_move_and_delete, "b");
  table.close().expect_done();
  const Bytes& last = three.at("b");
  expect_records("the store after the changes", records_in(url), {{"a", "1"}, {"ab", "2"}, {last, last}});
}

void modes(const Settings& settings) {
  const Table table = opened(make(settings, three));
  const Result refused = table.put("a", "x", PSS_NEW_ONLY);
  expect(!refused.is_done() && refused.status != SYSERR_PSS_NOKEY, refused.call,
         "a status other than 0 and SYSERR_PSS_NOKEY");
  play(table,
       "+longer=5 *long=6 -long -longer *c=4 +ab= +ab=longvalue +ab=short @ab v=short +ab= ~none -b ~b *b=again");
  table.put("b", "x", PSS_NEW_ONLY).expect_refusal();
  expect_records("the store after the changes", table.records(), {{"a", "1"}, {"ab", ""}, {"b", "again"}, {"c", "4"}});
  table.close();
}

void refused_changes(const Settings& settings) {
  const std::string url = make(settings, three);
  const Table table = opened(url);
  table.put("", "x");
  table.remove("");
  for (const uint32 mode : {2u, 77u}) table.put("a", "x", mode);
  table.at("a").expect("a");
  const bool is_refused = !table.put("a", "x", PSS_NEW_ONLY).is_done();
  table.remove("none");
  table.put("c", "4").expect_done();
  if (!table.put("ab", Bytes(100000, 'v')).is_done())
    expect(table.at("ab").has("ab"), "a refused value", "the earlier record");
  table.put("ab", "2");
  if (!is_refused) table.put("a", "1");
  table.close().expect_done();
  Records expected = three;
  expected["c"] = "4";
  expect_records("the store after refused changes and one successful change", records_in(url), expected);
}

void ends(const Settings& settings) {
  const Records records = many(settings);
  const std::string url = make(settings, records);
  expect_records("the store, read by another process", records_elsewhere(url), records);
  const Table table = opened(url);
  table.remove(records.begin()->first).expect_done();
  table.close().expect_done();
  const Records rest(std::next(records.begin()), records.end());
  expect_records("the store after one deletion, read by another process", records_elsewhere(url), rest);
  const Table again = opened(url);
  for (const auto& [key, value] : rest) again.remove(key).expect_done();
  again.close().expect_done();
  expect_records("a store without records", records_elsewhere(url), {});

  const std::string changed = make(settings, three);
  for (const uint32 mode : {PSS_REPLACE, PSS_NEW_ONLY}) {
    const Table session = opened(changed);
    session.put(mode == PSS_REPLACE ? "a" : "new", "changed", mode).expect_done();
    session.close().expect_done();
  }
  expect_records("the store after two sessions with one change each", records_elsewhere(changed),
                 {{"a", "changed"}, {"ab", "2"}, {"b", three.at("b")}, {"new", "changed"}});

  const Table last = opened(changed);
  play(last, "-a *a=again");
  last.close().expect_done();
  expect_records("the store after a record was deleted and stored again", records_elsewhere(changed),
                 {{"a", "again"}, {"ab", "2"}, {"b", three.at("b")}, {"new", "changed"}});

  for (const Ending ending : {Ending::at_once, Ending::by_exit}) {
    const std::string kept = make(settings, three);
    change_without_close(kept, settings.records, ending);
    expect_records("the store after a process ended before pss_close", records_in(kept), three);
  }
}

void two_at_once(const Settings& settings) {
  const std::string url = make(settings, three);
  const Table table = opened(url);
  table.put("c", "4").expect_done();
  table.at("ab").expect("ab");
  expect(!Table(url).is_open(), "pss_open of a store that this process has open", "handle 0");
  table.at(PSS_CURRENT_KEY).expect("ab");
  const size_t name = url.find('/') + 1;
  expect(!Table(url.substr(0, name) + "./" + url.substr(name)).is_open(), "pss_open of that store by another path",
         "handle 0");
  table.snapshot(url + "-snapshot").expect_done();
  begin_to_store(url, "d", "5");
  // The other process may fail at once or after some seconds, or wait until this process closes the store.
  wait_for_store(10000);
  table.close().expect_done();
  Records expected = three;
  expected["c"] = "4";
  if (has_stored()) expected["d"] = "5";
  expect_records("the store after changes by two processes", records_in(url), expected);
}

void snapshots(const Settings& settings) {
  const std::string url = make(settings, three), path = url + "-snapshot";
  const Table table = opened(url);
  Settings fewer = settings;
  if (fewer.records > 5) fewer.records -= 5;
  Records expected = many(fewer);
  expected["empty"] = "";
  for (const auto& [key, value] : expected) table.put(key, value).expect_done();
  expected.insert(std::next(three.begin()), three.end());
  table.remove("a").expect_done();
  table.at("b").expect("b");
  for (const char* end : {"", "-2"}) table.snapshot(path + end).expect_done();
  table.at(PSS_CURRENT_KEY).expect("b");
  table.at(PSS_PREVIOUS_KEY).expect("ab");
  expect_records("the snapshot while the store is open", records_elsewhere(path), expected);
  // The library deletes all records after the snapshot of an upgrade.
  for (const auto& [key, value] : expected) table.remove(key).expect_done();
  table.put("later", "y").expect_done();
  table.close().expect_done();
  expect_records("the snapshot", records_elsewhere(path), expected);
  expect_records("the second snapshot", records_in(path + "-2"), expected);
  expect_records("the store", records_in(url), {{"later", "y"}});
}

// Takes a snapshot while the cursor is off the store, one while it is on a deleted record, and then snapshots at
// unusual URLs. If a snapshot fails, pss_close may fail and roll back.
void other_snapshots(const Settings& settings) {
  const std::string url = make(settings, three), path = url + "-snapshot";
  const std::string missing = settings.url + "-none/s", longest = (url + "-" + std::string(256, 'u')).substr(0, 256);
  const Table table = opened(url);
  const DatumResult before = table.at(PSS_CURRENT_KEY);
  table.snapshot(path).expect_done();
  const DatumResult after = table.at(PSS_CURRENT_KEY);
  expect(after.text() == before.text(), after.call, before.text() + " as before the snapshot", after.text());
  table.at("a").expect("a");
  table.remove("a").expect_done();
  table.snapshot(path + "-2").expect_done();
  table.at(PSS_NEXT_KEY).expect("ab");
  Records expected(std::next(three.begin()), three.end());
  table.put("ac", expected["ac"] = "new").expect_done();
  const bool has_missing = table.snapshot(missing).is_done(), has_longest = table.snapshot(longest).is_done();
  table.snapshot("elsewhere:" + path.substr(path.find(':') + 1)).expect_refusal();
  table.at(PSS_CURRENT_KEY).expect("ab");
  const bool is_closed = table.close().is_done();
  if (has_missing) expect_records("a snapshot in a new directory", records_in(missing), expected);
  if (has_longest) expect_records("a snapshot at a URL of 256 characters", records_in(longest), expected);
  expect_records("the store after these snapshots", records_in(url), is_closed ? expected : three);
}

// Records contain authentication keys, and the path of a snapshot is a known name in a public directory.
void private_snapshots(const Settings& settings) {
  if (settings.files.empty()) return;
  const std::string url = make(settings, three), path = url + "-snapshot", link = url + "-link";
  const std::string other = file_of(settings, url + "-other");
  chmod(file_of(settings, url).c_str(), 0600);
  std::ofstream(other) << "other";
  expect(symlink(other.c_str(), file_of(settings, link).c_str()) == 0, link, "a symbolic link");
  const mode_t mask = umask(0);
  const Table table = opened(url);
  table.put("c", "4").expect_done();
  table.snapshot(path).expect_done();
  table.close().expect_done();
  umask(mask);
  for (const std::string& store : {url, path}) {
    struct stat status = {};
    const bool is_private = stat(file_of(settings, store).c_str(), &status) == 0 && (status.st_mode & 077) == 0;
    expect(is_private, "the mode of " + store, "a file that others cannot read");
  }
  const Table again = opened(url);
  const bool is_done = again.snapshot(link).is_done();
  again.close();
  expect(content_of(other) == "other", "a snapshot at a symbolic link", "an unchanged file behind the link");
  Records expected = three;
  expected["c"] = "4";
  if (is_done) expect_records("a snapshot that replaced a symbolic link", records_in(link), expected);
}

void snapshots_again(const Settings& settings) {
  const std::string url = make(settings, three), path = url + "-snapshot";
  Records expected = three;
  for (const char* value : {"first", "second", "third"}) {
    const Table table = opened(url);
    for (int round = 0; round < 2; ++round) {
      table.snapshot(path).expect_done();
      table.put("a", expected["a"] = value).expect_done();
      table.remove("b");
      expected.erase("b");
      table.snapshot(path).expect_done();
    }
    table.close().expect_done();
    expect_records("the last snapshot", records_in(path), expected);
    expect_records("the store after the last snapshot", records_in(url), expected);
  }
  const Table shrinking = opened(url);
  shrinking.snapshot(path).expect_done();
  shrinking.remove("ab").expect_done();
  shrinking.snapshot(path).expect_done();
  shrinking.close().expect_done();
  expected.erase("ab");
  expect_records("the snapshot after a deletion", records_in(path), expected);
  const std::string other = make(settings, three);
  change_without_close(other, 1, Ending::at_once);
  const Table table = opened(other);
  table.snapshot(other + "-snapshot").expect_done();
  table.close().expect_done();
  expect_records("a snapshot that replaces a snapshot of another process", records_in(other + "-snapshot"), three);
  const Table empty = opened(make(settings, {}));
  empty.snapshot(path).expect_done();
  empty.close();
  expect_records("a snapshot without records", records_in(path), {});
}

// Verifies that the text of srg_sw_ver_file_get begins with the first line of the file. If the file has more than 511
// bytes, the text may be null.
void expect_version(const std::string& file_name) {
  const std::string content = content_of(file_name);
  const std::string line = content.substr(0, content.find('\n'));
  const char* text = version_text(file_name.c_str());
  if (text == nullptr && content.size() > 511) return;
  expect(text != nullptr, "srg_sw_ver_file_get(\"" + file_name + "\")", hex(line), "null");
  if (text == nullptr) return;
  // Overwrite other memory: the text must stay valid.
  const std::vector<char> scribbled(65536, 'x');
  volatile char stack[8192];
  for (volatile char& byte : stack) byte = scribbled[0];
  const std::string first(text, strcspn(text, "\r\n"));
  expect(first == line.substr(0, line.find('\r')), "the text of srg_sw_ver_file_get", hex(line), hex(first));
}

void others(const Settings& settings) {
  expect(version_text(nullptr) == nullptr, "srg_sw_ver_file_get(null)", "null", "a text");
  std::set<uint32> indexes, values;
  for (uint32 i = 0; i < 4096; ++i) indexes.insert({i, i << 12, i << 20});
  for (const uint32 index : indexes) values.insert(bytes_of_index(index));
  expect(values.size() == indexes.size(), "hton_if_index", "a different value for each index", "a repeated value");
  if (!settings.version_file.empty()) expect_version(settings.version_file);
  char name[] = "/tmp/pss_conformance-XXXXXX";
  const int fd = mkstemp(name);
  const auto of_size = [](size_t size) { return std::string(size, 'v'); };
  for (const std::string& content :
       {of_size(500) + "\nmore", of_size(511), of_size(512), of_size(600), of_size(100000), of_size(0),
        std::string("4.2(1)"), std::string("4.2(1a) of May\nmore"), std::string("# 4.2(1)\n4.2(2)"),
        std::string("\n4.2(2)"), std::string(" 4.2(1)\n")}) {
    if (fd < 0) break;
    std::ofstream(name) << content;
    expect_version(name);
  }
  close(fd);
  unlink(name);
  for (const char* none : {static_cast<const char*>(name), "/"}) {
    expect(version_text(none) == nullptr, "srg_sw_ver_file_get of a missing file or a directory", "null", "a text");
  }
}

// The umask, working directory, time zone, signal handlers and environment of this process.
std::string host_state() {
  char directory[4096] = "";
  const mode_t mask = umask(0);
  umask(mask);
  std::string state =
      "umask " + std::to_string(mask) + (getcwd(directory, sizeof directory) != nullptr ? directory : "");
  tzset();
  state += std::string(tzname[0]) + tzname[1] + std::to_string(timezone);
  for (int number = 1; number < 32; ++number) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    state += ' ' + std::to_string(reinterpret_cast<uintptr_t>(action.sa_handler));
  }
  for (char** variable = environ; *variable != nullptr; ++variable) state += std::string("\n") + *variable;
  return state;
}

int open_descriptors() {
  int count = 0;
  for (int fd = 0; fd < 4096; ++fd) count += fcntl(fd, F_GETFD) >= 0;
  return count;
}

// Many sessions leave the process as it was.
void host_process(const Settings& settings) {
  constexpr int rounds = 200;
  const std::string state = host_state(), url = make(settings, three);
  int descriptors = 0;
  for (int round = 0; round < rounds && failures.empty(); ++round) {
    const Table table = opened(url);
    table.put("a", std::to_string(round)).expect_done();
    table.snapshot(url + "-" + std::to_string(round % 100)).expect_done();
    (void)version_text("/proc/self/status");
    (void)version_text("/none");
    (void)Table(settings.url + "-none");
    table.remove("none");
    table.close().expect_done();
    if (round == 10) descriptors = open_descriptors();
  }
  expect(open_descriptors() <= descriptors, "200 sessions", "as many descriptors as after 10");
  expect(host_state() == state, "the platform",
         "the same umask, directory, time zone, signal handlers and environment");
}

}  // namespace

void prepare(const Settings& settings) { make(settings, {}); }

const Point points[] = {
    {1, "statuses and their texts", statuses},
    {2, "opening a store",
     [](const Settings& settings) {
       opening(settings);
       opening_other_files(settings);
     }},
    {4, "keys, values and their order",
     [](const Settings& settings) {
       keys_and_values(settings);
       capacity(settings);
     }},
    {5, "the cursor off the store", cursor_off_the_store},
    {6, "moves to keys", moves_to_keys},
    {7, "failed moves", failing_moves},
    {8, "values off the store",
     [](const Settings& settings) { play_new(settings, letters, "@c>. v=. @a v=1 -a v=. N=ab @b v=3 -b v=. N=."); }},
    {9, "visibility of changes",
     [](const Settings& settings) {
       play_new(settings, letters,
                "@ab +ab=new v=new +ab=wen v=wen +aa=x @aa v=x -a F=aa +ac=y N=ab N=ac N=b @b -b "
                "@b>.");
     }},
    {10, "the cursor after changes", walks_among_changes},
    {11, "returned data", returned_data},
    {12, "replace, refuse, delete", modes},
    {13, "refused changes", refused_changes},
    {17, "version files and interface indexes", others},
    {16, "replaced snapshots", snapshots_again},
    {14, "durable and atomic changes", ends},
    {15, "snapshots",
     [](const Settings& settings) {
       snapshots(settings);
       other_snapshots(settings);
       private_snapshots(settings);
     }},
    {18, "the host process", host_process},
    {3, "a store that is already open", two_at_once}};
const int point_count = std::size(points);

}  // namespace conformance
