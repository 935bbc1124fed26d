#include "tool/trace/line.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <string>

namespace vrrpconvert {
namespace {

constexpr size_t time_size = 24;

bool is_digit(char letter) { return isdigit(static_cast<unsigned char>(letter)) != 0; }
bool is_name_letter(char letter) { return letter == '_' || isalnum(static_cast<unsigned char>(letter)) != 0; }

// Parses the prefix "<TIME> FUNCTION:LINE " and returns its size, or 0 if the text does not begin with one.
size_t parse_prefix(std::string_view text, TraceLine& line) {
  if (text.size() < time_size + 3 || text[0] != '<' || text.substr(time_size + 1, 2) != "> ") return 0;
  const std::string time(text.substr(1, time_size));
  tm parsed = {};
  if (std::any_of(time.begin(), time.end(), [](char letter) { return letter < ' '; })) return 0;
  const char* end = strptime(time.c_str(), "%a %b %e %H:%M:%S %Y", &parsed);
  if (end == nullptr || *end != '\0') return 0;
  const size_t name = time_size + 3;
  size_t at = name;
  while (at < text.size() && is_name_letter(text[at])) ++at;
  const size_t colon = at;
  if (colon == name || colon == text.size() || text[at++] != ':') return 0;
  while (at < text.size() && is_digit(text[at])) ++at;
  if (at == colon + 1 || at == text.size() || text[at] != ' ') return 0;
  line.time = text.substr(1, time_size);
  line.function = text.substr(name, colon - name);
  return at + 1;
}

// Returns the place of the next prefix after the first character, or the size of the text.
size_t next_prefix(std::string_view text) {
  TraceLine ignored;
  size_t at = 1;
  while ((at = text.find('<', at)) != std::string_view::npos && parse_prefix(text.substr(at), ignored) == 0) ++at;
  return std::min(at, text.size());
}

}  // namespace

bool for_each_trace_line(std::string_view text, bool has_break, const std::function<void(const TraceLine&)>& visit) {
  if (text.ends_with('\r')) text.remove_suffix(1);  // a copy with the line breaks of another system
  TraceLine line;
  if (parse_prefix(text, line) == 0) {
    // Another process may have written its text without a line break in front of a trace line.
    text.remove_prefix(next_prefix(text));
    if (!text.empty()) for_each_trace_line(text, has_break, visit);
    return false;
  }
  while (!text.empty()) {
    const size_t prefix = parse_prefix(text, line), end = next_prefix(text);
    line.message = text.substr(prefix, end - prefix);
    line.is_cut = end < text.size() || !has_break;
    visit(line);
    text.remove_prefix(end);
  }
  return true;
}

}  // namespace vrrpconvert
