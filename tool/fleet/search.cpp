#include "tool/fleet/search.h"

#include <algorithm>
#include <tuple>

#include "tool/conversion/conversion.h"
#include "tool/support/interrupt.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

// A report stands for the device that it is named after, or, as report.json, for its directory.
fs::path device_of(const fs::path& file, InputKind kind) {
  return kind == InputKind::reports && file.filename() != "report.json" ? fs::path(file).replace_extension()
                                                                        : file.parent_path();
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
  const auto add = [&](const fs::path& device, const fs::path& file, const std::string& problem = "") {
    inputs.push_back({name_below(device, asked, is_only_one), file, problem});
  };
  std::vector<fs::path> waiting = {asked};
  while (!waiting.empty()) {
    end_if_interrupted();
    const fs::path directory = waiting.back();
    waiting.pop_back();
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
      std::error_code ignored;  // what is neither a directory nor an input does not matter
      if (at->is_directory(ignored) && !at->is_symlink(ignored)) {
        waiting.push_back(at->path());
      } else if (is_input(*at, kind)) {
        add(device_of(at->path(), kind), at->path());
      }
    }
    if (error) add(directory, "", directory.string() + ": " + error.message());
  }
}

}  // namespace

std::vector<Input> find_inputs(const std::vector<std::string>& paths, InputKind kind) {
  std::vector<Input> inputs;
  for (const std::string& asked : paths) {
    const size_t before = inputs.size();
    search(asked, paths.size() == 1, kind, inputs);
    if (inputs.size() > before) continue;
    inputs.push_back({asked, "", kind == InputKind::reports ? "no report below it" : "no store below it"});
  }
  const auto key = [](const Input& input) { return std::tie(input.name, input.file); };
  std::sort(inputs.begin(), inputs.end(), [key](const Input& a, const Input& b) { return key(a) < key(b); });
  const auto same = [key](const Input& a, const Input& b) { return key(a) == key(b); };
  inputs.erase(std::unique(inputs.begin(), inputs.end(), same), inputs.end());
  return inputs;
}

}  // namespace vrrpconvert
