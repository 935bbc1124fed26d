// pss_conformance [OPTION ...] LIBRARY CREATE URL: tests a platform library against the contract in platform/pss.h.
// Each point runs twice, in two new processes, with two different values in the status before each call.

#include <getopt.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>

#include "platform/conformance/calls.h"
#include "platform/conformance/points.h"
#include "platform/conformance/second_process.h"

using namespace conformance;

namespace {

constexpr char usage[] =
    "usage: pss_conformance [OPTION ...] LIBRARY CREATE URL\n"
    "Test a platform library against the contract in platform/pss.h and print one line per point (TAP)\n"
    "  LIBRARY              test this library, or - the platform that is linked into this program\n"
    "  CREATE               create an empty store at the URL in \"$1\"\n"
    "  URL                  create stores at URL-1a-1 ..., snapshots at URL-15a-1-snapshot ...\n"
    "  --list               list the points and exit\n"
    "  --point N            test only this point\n"
    "  --records N          test with N records (default 5000): the largest number of the device, plus 1\n"
    "  --files DIR          also test damaged files, modes and links: the store nonvolatile:X is the file DIR/X\n"
    "  --version-file FILE  also test srg_sw_ver_file_get with this file\n"
    "Exit status: 0 all points passed, 1 a point failed, 2 the library cannot be tested\n";

constexpr char done[] = "#done\n";   // last line of a point: an operation may end the process with status 0
constexpr int exit_untestable = 77;  // of a process that has printed the reason

[[noreturn]] void run_in_child(const char* library, const char* create, const Point& point, const Settings& settings,
                               int output) {
  if (!start_second_process(library, create) || !load(library)) _exit(exit_untestable);
  try {
    point.run(settings);
  } catch (const std::exception& error) {
    fail("the point", "stores that open", error.what());
  }
  failures += done;
  size_t sent = 0;
  while (sent < failures.size()) {
    const ssize_t written = write(output, failures.data() + sent, failures.size() - sent);
    if (written <= 0) break;
    sent += static_cast<size_t>(written);
  }
  _exit(0);
}

// Reads the output of `process` until that ends, because a daemon of the platform may keep the pipe open. Kills the
// process if a call does not return and SIGALRM does not end the process.
std::string output_of(pid_t process, int input, int* status) {
  std::string text;
  char buffer[4096];
  unsigned seen = 0, quiet = 0;
  for (bool has_ended = false;;) {
    pollfd ready = {input, POLLIN, 0};
    const bool is_ready = poll(&ready, 1, has_ended ? 0 : 1000) == 1;
    const ssize_t count = is_ready ? read(input, buffer, sizeof buffer) : 0;
    if (count > 0) text.append(buffer, static_cast<size_t>(count));
    if (count <= 0 && has_ended) return text;
    if (count == 0 && is_ready) usleep(10000);
    has_ended = has_ended || waitpid(process, status, WNOHANG) == process;
    quiet = running_call->number == seen ? quiet + (is_ready ? 0 : 1) : 0;
    seen = running_call->number;
    if (quiet > seconds_max + 15) kill(process, SIGKILL);
  }
}

// Returns the failures of a point.
std::string failures_of(const char* library, const char* create, const Point& point, const Settings& settings) {
  int pipe_ends[2];
  if (pipe(pipe_ends) != 0) return perror("pss_conformance"), exit(exit_untestable), "";
  *running_call = {};
  const pid_t process = fork();
  if (process == 0) {
    close(pipe_ends[0]);
    run_in_child(library, create, point, settings, pipe_ends[1]);
  }
  close(pipe_ends[1]);
  int status = 0;
  std::string text = output_of(process, pipe_ends[0], &status);
  close(pipe_ends[0]);
  if (WIFEXITED(status) && WEXITSTATUS(status) == exit_untestable) exit(2);  // the process has printed the reason
  const bool is_done = text.ends_with(done);
  if (is_done) text.resize(text.size() - strlen(done));
  const std::string call = *running_call->text != '\0' ? running_call->text : "the platform";
  const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  if (signal == SIGALRM || signal == SIGKILL) {
    text += "#   " + call + ": did not return within " + std::to_string(seconds_max) + " seconds\n";
  } else if (signal != 0) {
    text += "#   " + call + ": ended the process by signal " + std::to_string(signal) + "\n";
  } else if (!is_done) {
    text += "#   " + call + ": ended the process\n";
  }
  return text;
}

std::string first_lines(const std::string& text) {
  constexpr int lines_max = 10;
  size_t end = 0;
  for (int line = 0; line < lines_max && end < text.size(); ++line) end = text.find('\n', end) + 1;
  const auto left = std::count(text.begin() + static_cast<long>(end), text.end(), '\n');
  return text.substr(0, end) + (left > 0 ? "#   " + std::to_string(left) + " more failures\n" : "");
}

int list_points() {
  std::map<int, const char*> titles;
  for (int i = 0; i < point_count; ++i) titles[points[i].number] = points[i].title;
  for (const auto& [number, title] : titles) printf("%2d  %s\n", number, title);
  return 0;
}

// Tests a point and prints the result. Returns whether it passed.
bool test(const char* library, const char* create, const Point& point, Settings settings) {
  const std::string url = settings.url;
  std::string text;
  for (const syserr_t status : {0x7e57u, 0u}) {
    status_before = status;
    settings.url = url + "-" + std::to_string(point.number) + (status == 0 ? "b" : "a");
    text = failures_of(library, create, point, settings);
    if (!text.empty()) break;
  }
  printf("%s %d - %s\n%s", text.empty() ? "ok" : "not ok", point.number, point.title, first_lines(text).c_str());
  fflush(stdout);
  return text.empty();
}

int number_in(const char* text) {
  char* end;
  const long number = strtol(text, &end, 10);
  if (*text != '\0' && *end == '\0' && number > 0 && number < 10000000) return static_cast<int>(number);
  fprintf(stderr, "pss_conformance: \"%s\": expected a number from 1 to 9999999\n", text);
  exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  const option options[] = {{"help", no_argument, nullptr, 'h'},
                            {"list", no_argument, nullptr, 'l'},
                            {"point", required_argument, nullptr, 'p'},
                            {"records", required_argument, nullptr, 'r'},
                            {"version-file", required_argument, nullptr, 'v'},
                            {"files", required_argument, nullptr, 'f'},
                            {nullptr, 0, nullptr, 0}};
  Settings settings;
  int only = 0;
  for (int option; (option = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    if (option == 'h') return fputs(usage, stdout) < 0;
    if (option == 'l') return list_points();
    if (option == 'p') only = number_in(optarg);
    if (option == 'r') settings.records = static_cast<size_t>(number_in(optarg));
    if (option == 'v') settings.version_file = optarg;
    if (option == 'f') settings.files = optarg;
    if (option == '?') return fputs(usage, stderr), 2;
  }
  if (argc - optind != 3 || only > point_count) return fputs(usage, stderr), 2;
  const char *library = argv[optind], *create = argv[optind + 1];
  settings.url = argv[optind + 2];
  void* shared = mmap(nullptr, sizeof(RunningCall), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return perror("pss_conformance"), 2;
  running_call = static_cast<RunningCall*>(shared);
  signal(SIGPIPE, SIG_IGN);

  const std::string url = settings.url;
  settings.url += "-0";
  const std::string problem = failures_of(library, create, {0, "", prepare}, settings);
  if (!problem.empty()) return fprintf(stderr, "pss_conformance: cannot test the library\n%s", problem.c_str()), 2;
  settings.url = url;
  printf("1..%d\n", only > 0 ? 1 : point_count);
  if (settings.files.empty()) puts("# without --files: no test of damaged files, modes and links (points 2 and 15)");
  int status = 0;
  for (int i = 0; i < point_count; ++i) {
    if (only > 0 && points[i].number != only) continue;
    fflush(stdout);
    if (!test(library, create, points[i], settings)) status = 1;
  }
  return status;
}
