// vrrpconvert as a process, in a folder of the test's own.
#ifndef TESTS_TOOL_PROCESS_H
#define TESTS_TOOL_PROCESS_H

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/embedded_store.h"

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

inline std::string example() {
  std::ostringstream text;
  text << std::ifstream(EXAMPLES "/branch-router.jsonl").rdbuf();
  return text.str();
}

inline std::vector<std::string> sorted_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

#endif
