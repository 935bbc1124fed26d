#include "tool/fleet/search.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <tuple>

#include "tool/conversion/conversion.h"
#include "tool/store/paths.h"
#include "tool/support/digits.h"
#include "tool/support/error.h"
#include "tool/support/line_reader.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// Returns the path that names the device of a report or a store: NAME.json is for NAME, report.json for its directory,
// and DEVICE/flash/STORE for DEVICE.
fs::path device_of(const fs::path& file, InputKind kind, const fs::path& asked) {
  const fs::path directory = file.parent_path(), above = directory.parent_path();
  if (kind == InputKind::reports)
    return file.filename() == "report.json" ? directory : fs::path(file).replace_extension();
  return directory.filename() == "flash" && directory != asked ? above : directory;
}

bool is_input(const fs::directory_entry& entry, InputKind kind) {
  std::error_code ignored;
  if (kind == InputKind::stores) return entry.path().filename() == running_store;
  return entry.path().extension() == ".json" && fs::is_regular_file(entry.symlink_status(ignored));
}

std::string name_below(const fs::path& directory, const fs::path& asked, bool is_only_one) {
  if (!is_only_one) return directory;
  const fs::path below = directory.lexically_relative(asked);
  if (!below.empty() && below != ".") return below;
  const fs::path whole = fs::absolute(directory).lexically_normal();
  return whole.has_filename() ? whole.filename() : whole.parent_path().filename();  // "." and "devices/" end in "/"
}

void search(const fs::path& asked, bool is_only_one, InputKind kind, std::vector<Input>& inputs) {
  const auto add = [&](const fs::path& device, const fs::path& file, const std::error_code& error = {}) {
    inputs.push_back({name_below(device, asked, is_only_one), file});
    if (!error) return;
    const bool is_missing = error == std::errc::no_such_file_or_directory;
    const bool is_file = error == std::errc::not_a_directory;
    inputs.back().ending = {is_missing ? Reason::missing : Reason::unreadable,
                            device.string() + ": " + error.message() + (is_file ? "; give its directory" : "")};
  };
  std::vector<fs::path> waiting = {asked};
  while (!waiting.empty()) {
    const fs::path directory = waiting.back();
    waiting.pop_back();
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
      std::error_code ignored;  // ignored: other files do not matter
      if (at->is_directory(ignored) && !at->is_symlink(ignored)) {
        waiting.push_back(at->path());
      } else if (is_input(*at, kind)) {
        add(device_of(at->path(), kind, asked), at->path());
      }
    }
    if (error) add(directory, "", error);
  }
}

// Adds the directories directly below `asked` that contain none of the inputs after `first`.
void add_empty_directories(const fs::path& asked, bool is_only_one, size_t first, std::vector<Input>& inputs) {
  std::set<fs::path> seen;
  for (size_t i = first; i < inputs.size(); ++i) {
    const Input& input = inputs[i];
    const fs::path unread = is_only_one ? fs::path(input.name) : fs::path(input.name).lexically_relative(asked);
    const fs::path below = input.file.empty() ? unread : input.file.lexically_relative(asked);
    if (!input.file.empty() && !below.has_parent_path()) return;  // the path itself contains a store
    seen.insert(*below.begin());
  }
  for (const fs::path& directory : files_in(asked)) {
    std::error_code ignored;
    const fs::file_status status = fs::symlink_status(directory, ignored);
    const fs::path name = directory.filename();
    const bool is_of_device = name == "tmp" || name == "bootflash";  // next to the store's directory
    if (!fs::is_directory(status) || is_of_device || seen.contains(name)) continue;
    inputs.push_back({name_below(directory, asked, is_only_one), "", {Reason::missing, "no store found"}});
  }
}

// Returns the name in a line of an inventory, "core1 ansible_host=192.0.2.1  # rack 7", or an empty text for a comment
// or the name of a group.
std::string_view expected_name(std::string_view line) {
  if (line.starts_with('#') || line.starts_with(';') || line.starts_with('[')) return {};
  const size_t comment = line.find(" #"), variable = line.find('=');
  line = line.substr(0, comment);
  if (variable < line.size()) line = line.substr(0, line.find_first_of(" \t"));
  while (!line.empty() && isspace(static_cast<unsigned char>(line.back()))) line.remove_suffix(1);
  return line;
}

// Returns the names that an inventory means by "sw[01:16]", which is from 01 to 16 with leading zeros, or the name.
std::vector<std::string> names_in_range(const std::string& name) {
  const size_t open = name.find('['), colon = name.find(':', open), close = name.find(']', colon);
  const auto number = [&name](size_t at, size_t end) {
    const std::string digits = name.substr(at + 1, end - at - 1);
    return is_number(digits) && digits.size() < 6 ? std::stoul(digits) : ~0UL;
  };
  if (close == std::string::npos || number(open, colon) > number(colon, close) || number(colon, close) == ~0UL) {
    return {name};
  }
  std::vector<std::string> names;
  for (unsigned long at = number(open, colon); at <= number(colon, close); ++at) {
    std::string digits = std::to_string(at);
    const size_t width = name[open + 1] == '0' ? colon - open - 1 : 0;
    digits.insert(0, width - std::min(width, digits.size()), '0');
    names.push_back(name.substr(0, open) + digits + name.substr(close + 1));
  }
  return names;
}

void add_missing_names(const std::string& file, std::vector<Input>& inputs) {
  std::set<std::string> names;
  for (const Input& input : inputs) names.insert(input.name);
  LineReader lines(file);
  std::string_view line;
  bool has_hosts = true;  // whether the lines of this section are hosts
  while (lines.next(line)) {
    if (line.starts_with('[')) has_hosts = line.find(':') == std::string_view::npos;  // else variables or children
    if (line.ends_with(':') || line == "---") {
      throw Error(Reason::bad_input, lines.name() + ":" + std::to_string(lines.line_number()) +
                                         ": looks like YAML; expected one device name per line, or an INI inventory");
    }
    const std::string expected(has_hosts ? expected_name(line) : "");
    for (const std::string& name : names_in_range(expected)) {
      if (name.empty() || !names.insert(name).second) continue;
      inputs.push_back({name, "", {Reason::missing, "not found, but listed in " + file}});
    }
  }
}

}  // namespace

std::vector<Input> find_inputs(const std::vector<std::string>& paths, InputKind kind, const std::string& expected) {
  std::vector<Input> inputs;
  for (const std::string& asked : paths) {
    const size_t before = inputs.size();
    search(asked, paths.size() == 1, kind, inputs);
    if (kind == InputKind::stores) add_empty_directories(asked, paths.size() == 1, before, inputs);
    if (inputs.size() > before) continue;
    inputs.push_back({asked, "", {Reason::missing, kind == InputKind::reports ? "no report found" : "no store found"}});
  }
  if (!expected.empty()) add_missing_names(expected, inputs);
  const auto key = [](const Input& input) { return std::tie(input.name, input.file, input.ending.problem); };
  std::sort(inputs.begin(), inputs.end(), [key](const Input& a, const Input& b) { return key(a) < key(b); });
  const auto same = [key](const Input& a, const Input& b) { return key(a) == key(b); };
  inputs.erase(std::unique(inputs.begin(), inputs.end(), same), inputs.end());
  return inputs;
}

}  // namespace vrrpconvert
