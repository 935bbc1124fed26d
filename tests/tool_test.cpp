// vrrpconvert as a process: its output, its exit codes, and what it leaves behind.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/embedded_store.h"

using testing::HasSubstr;

namespace {

struct Outcome {
  int exit_code;
  std::string out, err;
};

class ToolTest : public EmbeddedStoreTest {
 protected:
  ToolTest() { unsetenv("PSS_NONVOLATILE_ROOT"); }

  // Runs the tool with arguments as a shell takes them, in the test's folder.
  Outcome run(const std::string& arguments, const std::string& input = "") {
    write(".in", input);
    const std::string command = "cd " + root + " && " VRRPCONVERT " <.in >.out 2>.err " + arguments;
    const int status = system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(".out"), content(".err")};
  }

  // As a raw export shows it.
  std::string raw(const std::string& store) {
    const Outcome exported = run("export --raw " + store);
    EXPECT_EQ(exported.exit_code, 0) << exported.err;
    return exported.out;
  }

  bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }

  size_t entries() const {
    return static_cast<size_t>(
        std::distance(std::filesystem::directory_iterator(root), std::filesystem::directory_iterator()));
  }
};

std::string example() {
  std::ostringstream text;
  text << std::ifstream(EXAMPLES "/branch-router.jsonl").rdbuf();
  return text.str();
}

std::vector<std::string> sorted_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST_F(ToolTest, ExportsWhatItImported) {
  const Outcome imported = run("import s " EXAMPLES "/branch-router.jsonl");
  EXPECT_EQ(imported.exit_code, 0) << imported.err;
  EXPECT_EQ(imported.out, "s: 14 records\n");
  struct stat status;
  ASSERT_EQ(stat(file("s").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u) << "authentication keys are for the owner only";
  EXPECT_EQ(sorted_lines(run("export s").out), sorted_lines(example()));
  EXPECT_EQ(run("import raw", raw("s")).exit_code, 0);
  EXPECT_EQ(raw("raw"), raw("s"));
}

// Records that the readable form cannot carry come out raw, and every record comes back byte for byte.
TEST_F(ToolTest, LosesNoByteOfOddRecords) {
  ASSERT_EQ(run("import s", example()).exit_code, 0);
  const auto lines = sorted_lines(raw("s"));
  const auto vr_line = *std::find_if(lines.begin(), lines.end(), [](const auto& line) {
    return line.rfind("{\"store_key\":\"01000000010101", 0) == 0;
  });
  const size_t value = vr_line.find("\"value\":\"") + 9;
  // The line with `digits` in place of the value's digits at byte `offset`.
  const auto changed = [&](size_t offset, const std::string& digits) {
    std::string line = vr_line;
    return line.replace(value + 2 * offset, digits.size(), digits);
  };
  const struct {
    std::string line;
    bool readable;
  } cases[] = {
      {vr_line, true},
      {changed(9, "09000000"), false},   // no such administrative state
      {changed(37, "00000000"), false},  // no such authentication type
      {changed(25, "ff"), false},        // a byte behind an IPv4 address
      {changed(17, "00000000"), false},  // an address of no family that is not zero
      {changed(0, "0b"), false},         // a record under a key not its own
      {changed(61, "07000000"), true},   // a bool that is neither 0 nor 1
      {changed(41, "00ff"), true},       // an authentication key that is no text
      {changed(41, "22c3a9"), true},
      {changed(117, "01"), true},  // reserved bytes
      {vr_line.substr(0, vr_line.size() - 4) + "\"}", false},
      {"{\"store_key\":\"04000000\",\"value\":\"01ff" + std::string(36, '0') + "07\"}", true},
      {"{\"store_key\":\"04000000\",\"value\":\"\"}", false},
      {"{\"store_key\":\"02\",\"value\":\"00\"}", false},
  };
  for (const auto& [line, readable] : cases) {
    ASSERT_EQ(run("import --force s", line).exit_code, 0) << line;
    const std::string exported = run("export s").out;
    EXPECT_EQ(exported.find("store_key") == std::string::npos, readable) << exported;
    ASSERT_EQ(run("import --force s", exported).exit_code, 0) << exported;
    EXPECT_EQ(raw("s"), line + "\n");
  }
}

TEST_F(ToolTest, RefusesBadLinesAndLeavesNoStore) {
  const std::string good = example();
  const std::string vr = sorted_lines(good).at(10), ip = sorted_lines(good).at(3);
  const auto with = [](std::string line, const std::string& from, const std::string& to) {
    EXPECT_NE(line.find(from), std::string::npos) << from;
    return line.replace(line.find(from), from.size(), to);
  };
  const struct {
    std::string line, reason;
  } cases[] = {
      {"{", "not JSON"},
      {"[]", "expected a JSON object"},
      {"{\"kind\":\"x\"}", "field \"kind\": expected \"vr\""},
      {with(vr, "\"layout\":\"new\"", "\"layout\":\"newer\""), "field \"layout\": expected \"old\" or \"new\""},
      {with(vr, "\"layout\":\"new\"", "\"layout\":\"old\""), "field \"lower_threshold_prio\": there is no such field"},
      {with(vr, "\"prio\":", "\"priority\":"), "field \"prio\": is missing"},
      {with(vr, "\"vr_id\":", "\"vr_id\":256,\"vr_id\":"), "field \"vr_id\": stands here twice"},
      {with(vr, "\"vr_id\":", "\"vr_id\":1000"), "field \"vr_id\": expected a number from 0 to 255"},
      {with(vr, "\"prio\":", "\"prio\":-"), "field \"prio\": expected a number from 0 to 4294967295"},
      {with(vr, "\"admin\":\"", "\"admin\":\"x"), "field \"admin\": expected one of \"up\" \"down\""},
      {with(vr, "\"key\":\"", "\"key\":\"0123456789abcdefg"), "field \"key\": expected at most 16 bytes"},
      {with(ip, "\"inet_addr\":\"", "\"inet_addr\":\"1."), "is neither an IPv4 nor an IPv6 address"},
      {"{\"store_key\":\"0\",\"value\":\"\"}", "field \"store_key\": expected pairs of hexadecimal digits"},
      {"{\"store_key\":\"\",\"value\":\"\"}", "field \"store_key\": expected at least one byte"},
      {"{\"store_key\":\"01\"}", "field \"value\": expected pairs"},
      {"{\"store_key\":\"" + std::string(2050, '0') + "\",\"value\":\"\"}", "field \"store_key\": is too long"},
      {vr, "a line above has the same record"},
  };
  write("old", "");
  for (const auto& [line, reason] : cases) {
    write("records", good + "\n" + line + "\n");
    const Outcome refused = run("import s records");
    EXPECT_EQ(refused.exit_code, 3) << line;
    EXPECT_THAT(refused.err, HasSubstr("vrrpconvert: records:16: "));
    EXPECT_THAT(refused.err, HasSubstr(reason));
    EXPECT_EQ(refused.out, "");
    EXPECT_FALSE(exists("s"));
  }
  EXPECT_EQ(entries(), 5u) << "the two files of this test and the three of the runs, and no working folder";
}

TEST_F(ToolTest, ReplacesOnlyAStoreAndOnlyWhenTold) {
  ASSERT_EQ(run("import s", example()).exit_code, 0);
  const std::string before = raw("s");
  const Outcome refused = run("import s", "{\"store_key\":\"01\",\"value\":\"\"}");
  EXPECT_EQ(refused.exit_code, 2);
  EXPECT_THAT(refused.err, HasSubstr("s: exists already; choose another name, or replace it with --force"));
  EXPECT_EQ(run("import --force s", "nonsense").exit_code, 3);
  EXPECT_EQ(raw("s"), before);
  write("text", "not a store");
  EXPECT_EQ(run("import --force text", "").exit_code, 3);
  EXPECT_EQ(content("text"), "not a store");
  EXPECT_EQ(run("import --force s", "{\"store_key\":\"01\",\"value\":\"\"}").exit_code, 0);
  EXPECT_EQ(raw("s"), "{\"store_key\":\"01\",\"value\":\"\"}\n");
}

TEST_F(ToolTest, ConvertsThroughTheLibrary) {
  std::filesystem::create_directory(file("flash"));
  ASSERT_EQ(run("import flash/vrrp-cfg_runtime_config", example()).exit_code, 0);
  const Outcome down = run("convert flash --root . --from '4.2(1)' --to '4.1(2)' --trace trace.log");
  EXPECT_EQ(down.exit_code, 0) << down.err;
  EXPECT_EQ(down.out, file("flash/vrrp-cfg_runtime_config") +
                          ": 4.2(1) to 4.1(2): downgrade, the records are rewritten in the old layout\n\n"
                          "records                         before   after\n"
                          "VR configuration, new layout         5       0\n"
                          "VR configuration, old layout         0       5\n"
                          "IP association, new layout           7       0\n"
                          "IP association, old layout           0       7\n"
                          "global info                          1       1\n"
                          "other kinds                          1       1\n");
  EXPECT_THAT(content("trace.log"), HasSubstr("Added new record for VR 255 on interface 0x1000054 and addr type 1\n"));

  const std::string old_records = raw("flash/vrrp-cfg_runtime_config"), first_trace = content("trace.log");
  const Outcome up = run("convert flash --root . --from '4.1(2)' --to '4.2(1)' --vdc 3 --trace trace.log");
  EXPECT_EQ(up.exit_code, 0) << up.err;
  EXPECT_THAT(up.out, HasSubstr("Snapshot of the store before the upgrade: " + file("tmp/vrrp-pss3\n")));
  EXPECT_EQ(raw("tmp/vrrp-pss3"), old_records);
  EXPECT_THAT(raw("flash/vrrp-cfg_runtime_config"), testing::StartsWith("{\"store_key\":\"05"))
      << "only the track record";
  EXPECT_EQ(content("trace.log").substr(0, first_trace.size()), first_trace) << "the trace is appended";
  EXPECT_THAT(content("trace.log").substr(first_trace.size()), HasSubstr("Closed RC PSS file in Mgr\n"));
}

TEST_F(ToolTest, InspectsAStartupStore) {
  std::filesystem::create_directories(file("vdc_0/bin"));
  std::filesystem::create_directories(file("vdc_2/bin"));
  ASSERT_EQ(run("import vdc_2/bin/vrrp-cfg_config_sav", example()).exit_code, 0);
  const std::string before = content("vdc_2/bin/vrrp-cfg_config_sav");
  const Outcome inspected = run("convert vdc_2 --startup --from '4.1(2)' --to '4.2(1)'");
  EXPECT_EQ(inspected.exit_code, 0) << inspected.err;
  EXPECT_THAT(inspected.out, HasSubstr("a startup store is inspected and left as it is"));
  EXPECT_EQ(content("vdc_2/bin/vrrp-cfg_config_sav"), before);

  ASSERT_EQ(run("import vdc_0/bin/vrrp-cfg_config_sav", example()).exit_code, 0);
  const Outcome failed = run("convert vdc_0 --startup --from '4.1(2)' --to '4.2(1)'");
  EXPECT_EQ(failed.exit_code, 3);
  EXPECT_THAT(failed.err, HasSubstr("the library answered 0x401e0076 (unknown VDC number)"));
}

TEST_F(ToolTest, AnswersWhatItCannotDo) {
  const std::string long_name(230, 'x');
  std::filesystem::create_directories(file(long_name));
  std::filesystem::create_directories(file("empty"));
  std::filesystem::create_directories(file("text"));
  std::filesystem::create_directories(file("down"));
  write("text/vrrp-cfg_runtime_config", "not a store");
  ASSERT_EQ(run("import down/vrrp-cfg_runtime_config", example()).exit_code, 0);
  const std::string versions = " --from '4.2(1)' --to '4.1(2)'";
  const struct {
    std::string arguments;
    int exit_code;
    std::string reason;
  } cases[] = {
      {"", 2, "subcommand is required"},
      {"exprot s", 2, "exprot: there is no such verb; did you mean export?"},
      {"export", 2, "STORE is required"},
      {"export none", 3, "none: no such store or folder"},
      {"export none/s", 3, "none: no such folder"},
      {"export text/vrrp-cfg_runtime_config", 3, "not a store of this format; expected"},
      {"import s none", 3, "none: cannot be read; expected a file"},
      {"import s .", 3, ".: cannot be read; expected a file"},
      {"convert none" + versions, 3, "none: no such folder"},
      {"convert empty" + versions, 3, "vrrp-cfg_runtime_config: no such store"},
      {"convert text" + versions, 3, "not a store of this format"},
      {"convert down --from 4.2 --to '4.1(2)'", 2, "--from: \"4.2\" is not a release; expected one like 4.2(1)"},
      {"convert down --vdc 0" + versions, 2, "--vdc"},
      {"convert down --vdc 2 --startup" + versions, 2, "excludes"},
      {"convert down --root empty" + versions, 2, "is not below the nonvolatile root"},
      {"convert " + long_name + versions, 2, "255 is the most; use --root"},
      {"convert down --trace none/trace" + versions, 5, "none/trace: cannot be opened for the trace"},
      {"export down/vrrp-cfg_runtime_config >/dev/full", 5, "cannot be written to its end"},
  };
  const std::string before = raw("down/vrrp-cfg_runtime_config");
  for (const auto& [arguments, exit_code, reason] : cases) {
    const Outcome refused = run(arguments);
    EXPECT_EQ(refused.exit_code, exit_code) << arguments << refused.err;
    EXPECT_THAT(refused.err, HasSubstr(reason)) << arguments;
  }
  EXPECT_EQ(raw("down/vrrp-cfg_runtime_config"), before);

  setenv("PSS_NONVOLATILE_ROOT", root.c_str(), 1);
  const pss_service_t table = open("down/vrrp-cfg_runtime_config");
  EXPECT_EQ(run("convert down" + versions).exit_code, 4);
  EXPECT_EQ(pss_close(table), 0u);
}

// What the library alone would report as success: records left in the wrong state, and an upgrade without a snapshot.
TEST_F(ToolTest, NeverReportsAnIncompleteConversionAsSuccess) {
  std::filesystem::create_directories(file("flash"));
  ASSERT_EQ(run("import flash/vrrp-cfg_runtime_config", example()).exit_code, 0);
  const auto lines = sorted_lines(raw("flash/vrrp-cfg_runtime_config"));
  std::string foreign = *std::find_if(
      lines.begin(), lines.end(), [](const auto& line) { return line.rfind("{\"store_key\":\"0100000001ff", 0) == 0; });
  foreign.replace(foreign.find("0100000001ff"), 12, "01ff00000001");
  ASSERT_EQ(run("import --force flash/vrrp-cfg_runtime_config", example() + foreign).exit_code, 0);
  const Outcome down = run("convert flash --root . --from '4.2(1)' --to '4.1(2)'");
  EXPECT_EQ(down.exit_code, 7);
  EXPECT_THAT(down.err, HasSubstr("not every record is in the state that it should be in"));

  std::filesystem::create_directories(file("tmp/vrrp-pss"));
  const Outcome up = run("convert flash --root . --from '4.1(2)' --to '4.2(1)'");
  EXPECT_EQ(up.exit_code, 7);
  EXPECT_THAT(up.err, HasSubstr("tmp/vrrp-pss: the snapshot was not taken"));
}

}  // namespace
