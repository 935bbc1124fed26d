// The operator's work: see it first, change it safely, know what happened.

#include <nlohmann/json.hpp>

#include "tests/tool_process.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Json = nlohmann::json;

namespace {

constexpr char store[] = "flash/vrrp-cfg_runtime_config";
constexpr char down[] = "convert flash --root . --from '4.2(1)' --to '4.1(2)' ";
constexpr char up[] = "convert flash --root . --from '4.1(2)' --to '4.2(1)' ";

class OperatorTest : public ToolTest {
 protected:
  OperatorTest() {
    std::filesystem::create_directory(file("flash"));
    EXPECT_EQ(run("import " + std::string(store), example()).exit_code, 0);
  }
  ~OperatorTest() override {
    for (const char* name : {"LD_PRELOAD", "FAIL_STORE", "FAIL_DELETE", "DIE_AT_STORE", "STALL_AT_STORE", "ONLY_BELOW"})
      unsetenv(name);
  }

  // From here on the tool's platform fails at the `nth` call of what `variable` names.
  static void fail_at(const char* variable, int nth) {
    setenv("LD_PRELOAD", FAILING_PLATFORM, 1);
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    setenv(variable, std::to_string(nth).c_str(), 1);
  }

  static Json parsed(const Outcome& outcome) {
    const Json json = Json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << outcome.out;
    EXPECT_EQ(json.value("schema", 0), 1);
    return json;
  }
};

TEST_F(OperatorTest, ShowsTables) {
  const Outcome shown = run("show " + std::string(store));
  EXPECT_EQ(shown.exit_code, 0);
  EXPECT_EQ(shown.out, golden("branch-router.shown"));
  EXPECT_THAT(shown.out, Not(HasSubstr("branch-7"))) << "authentication keys are hidden";
  EXPECT_THAT(run("show --reveal " + std::string(store)).out, HasSubstr("branch-7"));
  EXPECT_THAT(run("show --kind track " + std::string(store)).out, StartsWith("Track\n"));

  const Json json = parsed(run("show --json " + std::string(store)));
  EXPECT_EQ(json["records"].size(), 14u);
  EXPECT_EQ(json["records"][0]["key"], "(hidden)");
  EXPECT_EQ(json["summary"]["vr"]["new"], 5);
}

TEST_F(OperatorTest, ChecksSoundness) {
  EXPECT_EQ(run("check " + std::string(store)).exit_code, 0);
  EXPECT_EQ(run("check --release '4.2(1)' " + std::string(store)).exit_code, 0);
  const Outcome old_release = run("check --json --release '4.1(2)' " + std::string(store));
  EXPECT_EQ(old_release.exit_code, 1);
  EXPECT_EQ(parsed(old_release)["problems"].size(), 12u);

  // One record of each kind of trouble.
  std::string vr = sorted_lines(raw(store)).at(0), old_vr = vr, foreign = vr, short_vr = vr;
  old_vr.erase(old_vr.find("\"value\":\"") + 9 + 2 * 85, 2 * 52).replace(14, 20, "0100000001630100000a");
  old_vr.replace(old_vr.find("\"value\":\"") + 9 + 8, 2, "63");
  foreign.replace(14, 20, "01ff");
  short_vr = "{\"store_key\":\"01\",\"value\":\"00\"}";
  ASSERT_EQ(run("import bad", vr + "\n" + old_vr + "\n" + foreign + "\n" + short_vr).exit_code, 0);
  const Outcome found = run("check bad");
  EXPECT_EQ(found.exit_code, 1);
  EXPECT_EQ(found.out,
            "vr record 01  (key 01): its value has 1 bytes; expected 137 or 85\n"
            "VR 1 ipv4 on 0x100000a  (key 01ff): it is stored under a key not its own; expected 0100000001010100000a\n"
            "VR 1 ipv4 on 0x100000a  (key 0100000001010100000a): the record under 01ff is of the same router\n"
            "vr: layouts are mixed: 2 in the new layout and 1 in the old one\n"
            "bad: 4 vr (2 new, 1 old, 1 unknown)\n"
            "Problems: 4.\n");
  chmod(file("flash").c_str(), 01777);
  const Outcome open_folder = run("check " + std::string(store));
  EXPECT_EQ(open_folder.exit_code, 1);
  EXPECT_THAT(open_folder.out, StartsWith("the folder " + file("flash") + ": other users can write it"));
}

TEST_F(OperatorTest, TellsDifferences) {
  std::string other = example();
  other.replace(other.find("\"prio\":200"), 10, "\"prio\":150");
  other.replace(other.find("branch-7"), 8, "branch-8");
  other.erase(other.find("{\"store_key\""));
  other += "{\"store_key\":\"0501\",\"value\":\"00\"}\n";
  ASSERT_EQ(run("import other", other).exit_code, 0);
  const Outcome differ = run("diff " + std::string(store) + " other");
  EXPECT_EQ(differ.exit_code, 1);
  EXPECT_EQ(differ.out,
            "~ VR 1 ipv4 on 0x100000a  (key 0100000001010100000a)\n"
            "    prio: 200 -> 150\n"
            "    key: (hidden) -> (hidden)\n"
            "- track record 0500000001010100000a00000001  (key 0500000001010100000a00000001)\n"
            "+ track record 0501  (key 0501)\n");
  const Json json = parsed(run("diff --json --reveal " + std::string(store) + " other"));
  EXPECT_EQ(json["changed"][0]["fields"][1], Json({{"field", "key"}, {"before", "branch-7"}, {"after", "branch-8"}}));
  EXPECT_EQ(json["added"][0]["content"]["value"], "00");

  ASSERT_EQ(run("import same " EXAMPLES "/branch-router.jsonl").exit_code, 0);
  const Outcome same = run("diff " + std::string(store) + " same");
  EXPECT_EQ(same.exit_code, 0);
  EXPECT_EQ(same.out, "No difference.\n");
}

TEST_F(OperatorTest, RehearsesAndRefusesWithoutChangingAByte) {
  const std::string before = content(store);
  const Outcome rehearsed = run(std::string(down) + "--dry-run");
  EXPECT_EQ(rehearsed.exit_code, 1) << "there would be a loss that was not allowed";
  EXPECT_THAT(rehearsed.out, HasSubstr("~ VR 2 ipv4 on 0x100000a  (key 0100000001020100000a)\n"
                                       "    layout: new -> old\n"
                                       "    lower_threshold_prio: 1 -> (dropped)\n"
                                       "    upper_threshold_prio: 100 -> (dropped)\n"));
  EXPECT_THAT(rehearsed.out,
              HasSubstr("Records that would change: 13. Nothing was changed.\nWould be lost:\n"
                        "  VR 1 ipv4 on 0x100000a  (key 0100000001010100000a): lower_threshold_prio = 80\n"));
  EXPECT_THAT(rehearsed.out, HasSubstr("global info  (key 04000000): is_bfd_enabled_on_any_group = yes\n"));
  EXPECT_EQ(run(std::string(down) + "--dry-run --allow-loss").exit_code, 0);

  const Outcome refused = run(down);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.out, HasSubstr("bfd_peer_ip = 192.0.2.3\n"));
  EXPECT_THAT(refused.err, HasSubstr("refused; nothing was changed"));
  const Json json = parsed(run(std::string(up) + "--dry-run --json"));
  EXPECT_EQ(json["losses"].size(), 13u) << "every record that an upgrade deletes";
  EXPECT_EQ(content(store), before);
  EXPECT_FALSE(exists("tmp")) << "neither a snapshot nor a folder for it";
}

TEST_F(OperatorTest, ConvertsKeepsACopyAndGoesBack) {
  const std::string before = raw(store);
  const Outcome converted = run(std::string(down) + "--allow-loss --trace trace.log");
  EXPECT_EQ(converted.exit_code, 0) << converted.err;
  EXPECT_EQ(converted.out, file(store) +
                               ": 4.2(1) to 4.1(2): downgrade\n"
                               "  converted        13\n"
                               "  deleted           0\n"
                               "  added             0\n"
                               "  left alone        1\n"
                               "  failed            0\n"
                               "Copy of the store as it was: " +
                               file(store) +
                               ".from-4.2-1\n"
                               "Next: start 4.1(2); or to go back: vrrpconvert restore " +
                               file(store) + ".from-4.2-1 " + file(store) + "\n");
  EXPECT_THAT(content("trace.log"), HasSubstr("Added new record for VR 255 on interface 0x1000054 and addr type 1\n"));
  EXPECT_EQ(run("check --release '4.1(2)' " + std::string(store)).exit_code, 0);
  EXPECT_EQ(raw(store + std::string(".from-4.2-1")), before);

  const std::string old_records = raw(store), first_trace = content("trace.log");
  const Json json = parsed(run(std::string(up) + "--allow-loss --no-backup --vdc 3 --json --trace trace.log"));
  EXPECT_EQ(json["outcome"]["deleted"], 13);
  EXPECT_EQ(json["snapshot"], file("tmp/vrrp-pss3"));
  EXPECT_TRUE(json["copy"].is_null());
  EXPECT_EQ(raw("tmp/vrrp-pss3"), old_records);
  EXPECT_THAT(raw(store), StartsWith("{\"store_key\":\"05")) << "only the track record";
  EXPECT_THAT(content("trace.log"), StartsWith(first_trace)) << "the trace is appended";

  const Outcome restored = run("restore " + std::string(store) + ".from-4.2-1 " + store);
  EXPECT_EQ(restored.exit_code, 0) << restored.err;
  EXPECT_EQ(raw(store), before);
  EXPECT_EQ(run(std::string(down) + "--allow-loss").exit_code, 0);
  EXPECT_EQ(raw(store + std::string(".from-4.2-1.2")), before) << "an earlier copy is never overwritten";
}

TEST_F(OperatorTest, InspectsAStartupStore) {
  for (const char* folder : {"vdc_0", "vdc_2"}) {
    std::filesystem::create_directories(file(folder) + "/bin");
    ASSERT_EQ(run(std::string("import ") + folder + "/bin/vrrp-cfg_config_sav", example()).exit_code, 0);
  }
  const std::string before = content("vdc_2/bin/vrrp-cfg_config_sav");
  const Outcome inspected = run("convert vdc_2 --startup --from '4.1(2)' --to '4.2(1)'");
  EXPECT_EQ(inspected.exit_code, 0) << inspected.err;
  EXPECT_THAT(inspected.out, HasSubstr("no conversion, the store is left as it is"));
  EXPECT_EQ(content("vdc_2/bin/vrrp-cfg_config_sav"), before);
  const Outcome failed = run("convert vdc_0 --startup --from '4.1(2)' --to '4.2(1)'");
  EXPECT_EQ(failed.exit_code, 3);
  EXPECT_THAT(failed.err, HasSubstr("the library answered 0x401e0076 (unknown VDC number)"));
}

// The library alone answers 0 to all of these.
TEST_F(OperatorTest, NamesEachRecordThatFailed) {
  fail_at("FAIL_STORE", 4);  // the global info record is the first, so this is the third VR
  const Outcome failed = run(std::string(down) + "--allow-loss");
  EXPECT_EQ(failed.exit_code, 7);
  EXPECT_THAT(failed.out, HasSubstr("  converted        12\n"));
  EXPECT_THAT(failed.out, HasSubstr("failed: VR 20 ipv4 on 0x901000a  (key 0100000001140901000a): "
                                    "Error storing record in PSS: Ret_val = 119, unknown status 0x77\n"));
  EXPECT_THAT(failed.err, HasSubstr("not every record is in the state that it should be in; failed: 1"));
  EXPECT_THAT(failed.out, HasSubstr("to go back: vrrpconvert restore"));
}

TEST_F(OperatorTest, NeverReportsAnIncompleteUpgradeAsSuccess) {
  ASSERT_EQ(run(std::string(down) + "--allow-loss").exit_code, 0);
  std::filesystem::create_directories(file("tmp/vrrp-pss"));  // where the snapshot cannot go
  const Outcome no_snapshot = run(std::string(up) + "--allow-loss");
  EXPECT_EQ(no_snapshot.exit_code, 7);
  EXPECT_THAT(no_snapshot.err, HasSubstr("tmp/vrrp-pss: the library could not take its snapshot"));

  ASSERT_EQ(run("restore " + std::string(store) + ".from-4.1-2 " + store).exit_code, 0);
  fail_at("FAIL_DELETE", 7);
  const Json json = parsed(run(std::string(up) + "--allow-loss --json"));
  EXPECT_EQ(json["outcome"]["deleted"], 12);
  EXPECT_EQ(json["outcome"]["failed"][0]["record"], "192.0.2.1 of VR 1 on 0x100000a");
  EXPECT_EQ(json["outcome"]["failed"][0]["reason"],
            "Error deleting PSS VR record; Ret_val = 0x77, unknown status 0x77");
}

TEST_F(OperatorTest, EndsWithTheStoreAsItWas) {
  const std::string before = raw(store), interrupt = "--allow-loss & pid=$!; sleep 0.7; kill -INT $pid; wait $pid";
  fail_at("STALL_AT_STORE", 5);
  const Outcome early = run(down + interrupt);
  EXPECT_EQ(early.exit_code, 130) << "interrupted in the rehearsal";
  EXPECT_THAT(early.err, HasSubstr("interrupted; nothing was changed"));
  setenv("ONLY_BELOW", std::filesystem::canonical(root).c_str(), 1);
  const Outcome late = run(down + interrupt);
  EXPECT_EQ(late.exit_code, 130) << "interrupted in the conversion itself";
  EXPECT_THAT(late.err, HasSubstr("interrupted; the store is as it was"));
  fail_at("DIE_AT_STORE", 4);
  const Outcome died = run(std::string(down) + "--allow-loss");
  EXPECT_EQ(died.exit_code, 6);
  EXPECT_THAT(died.err, HasSubstr("the library died; the store is as it was"));

  unsetenv("LD_PRELOAD");
  EXPECT_EQ(raw(store), before);
  EXPECT_EQ(run(std::string("restore ") + store + ".from-4.2-1 " + store).exit_code, 0);
  EXPECT_EQ(run(std::string(down) + "--allow-loss").exit_code, 0) << "and nothing is left that is in the way";
}

TEST_F(OperatorTest, TellsBeforehandWhatWouldFail) {
  ASSERT_EQ(run("import --force " + std::string(store), "{\"store_key\":\"0101\",\"value\":\"aabb\"}").exit_code, 0);
  const Outcome rehearsed = run(std::string(up) + "--dry-run");
  EXPECT_EQ(rehearsed.exit_code, 1);
  EXPECT_THAT(rehearsed.out,
              HasSubstr("would fail: vr record 0101  (key 0101): its value of 2 bytes is of no known layout"));
  EXPECT_EQ(run(up).exit_code, 1);
  EXPECT_EQ(run(std::string(up) + "--allow-loss").exit_code, 7);
}

TEST_F(OperatorTest, KeepsTheWayBackAndTellsAnInterruptFromAnEnd) {
  ASSERT_EQ(run(std::string(up) + "--allow-loss --no-backup").exit_code, 0);
  const std::string snapshot = content("tmp/vrrp-pss");
  EXPECT_EQ(run(up).exit_code, 0) << "nothing is left to upgrade";
  EXPECT_EQ(content("tmp/vrrp-pss"), snapshot) << "the snapshot is the only way back";
  ASSERT_EQ(run("restore tmp/vrrp-pss " + std::string(store)).exit_code, 0);
  EXPECT_EQ(run(std::string(down) + "--allow-loss >/dev/full").exit_code, 6) << "the store is converted all the same";

  mkfifo(file("pipe").c_str(), 0600);
  const Outcome interrupted = run("import new pipe & pid=$!; exec 9<>pipe; sleep 0.3; kill -INT $pid; wait $pid");
  EXPECT_EQ(interrupted.exit_code, 130);
  EXPECT_FALSE(exists("new"));
}

// As README.md shows it: a pre-flight of many stores at once.
TEST_F(OperatorTest, PreflightsAFolderOfStores) {
  for (const char* device : {"d1", "d2", "d3"}) {
    std::filesystem::create_directories(file("fleet/") + device);
    std::filesystem::copy(file(store), file("fleet/") + device + "/vrrp-cfg_runtime_config");
  }
  write("fleet/d2/vrrp-cfg_runtime_config", "damaged");
  const Outcome found = run(
      "--help >/dev/null; find fleet -mindepth 1 -maxdepth 1 -type d -print0 | xargs -0 -P 2 -n 1 sh -c '" VRRPCONVERT
      " convert \"$1\" --from \"4.2(1)\" --to \"4.1(2)\" --dry-run --json >\"$1/report.json\"; echo $? >\"$1/exit\"' "
      "-");
  EXPECT_EQ(content("fleet/d1/exit") + content("fleet/d2/exit") + content("fleet/d3/exit"), "1\n3\n1\n") << found.err;
  EXPECT_EQ(Json::parse(content("fleet/d2/report.json"))["exit"], 3);
  EXPECT_EQ(Json::parse(content("fleet/d3/report.json"))["losses"].size(), 16u);
}

}  // namespace
