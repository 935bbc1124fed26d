// vrrpconvert import and export, and the answers to what the tool cannot do.

#include "tests/tool_process.h"

using testing::HasSubstr;

namespace {

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
  EXPECT_EQ(run("export -o file s").exit_code, 0);
  EXPECT_EQ(content("file"), run("export s").out);
  ASSERT_EQ(stat(file("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_EQ(run("export -o file s").exit_code, 2) << "what is there is not overwritten";
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
  } cases[] = {{vr_line, true},
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
               {"{\"store_key\":\"02\",\"value\":\"00\"}", false}};
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
      {"{\"kind\":1e999}", "a number in it is too large"},
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
      {vr, "a line above has the same record"}};
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
      {"import s <.", 3, "standard input: cannot be read"},
      {"convert down --from '4.2(1<" + std::string(100000, 'a') + ")' --to '4.1(2)'", 2, "is not a release"},
      {"convert down --allow-loss --trace /dev/full" + versions, 2, "is no regular file"},
      {"convert down --allow-loss --trace down/vrrp-cfg_runtime_config" + versions, 2, "is a store"},
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
      {"convert down --allow-loss --trace none/trace" + versions, 5, "none/trace: cannot be opened for the trace"},
      {"diff down/vrrp-cfg_runtime_config ./down/vrrp-cfg_runtime_config", 2, "are the same file; name two stores"},
      {"restore text/vrrp-cfg_runtime_config down/vrrp-cfg_runtime_config", 3, "not a store of this format"},
      {"restore down/vrrp-cfg_runtime_config text/vrrp-cfg_runtime_config", 3, "not a store of this format"},
      {"show --kind vrs down/vrrp-cfg_runtime_config", 2, "--kind"},
      {"export down/vrrp-cfg_runtime_config >/dev/full", 5, "cannot be written to its end"}};
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

}  // namespace
