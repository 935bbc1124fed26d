#include "tool/record/interface_names.h"

#include <charconv>
#include <map>

#include "tool/support/error.h"
#include "tool/support/line_reader.h"

namespace vrrpconvert {
namespace {

std::map<uint32, std::string> names;

}  // namespace

void read_interface_names(const std::string& file) {
  constexpr char blanks[] = " \t\r";
  LineReader lines(file);
  std::string_view line;
  while (lines.next(line)) {
    const size_t start = line.find_first_not_of(blanks);
    if (start == std::string_view::npos || line[start] == '#') continue;
    line = line.substr(start, line.find_last_not_of(blanks) + 1 - start);
    const size_t blank = line.find_first_of(blanks);
    uint32 ifindex = 0;
    const char* end = line.data() + std::min(blank, line.size());
    const bool is_hex = line.starts_with("0x") && std::from_chars(line.data() + 2, end, ifindex, 16).ptr == end;
    if (!is_hex || blank == std::string_view::npos) {
      throw Error(Reason::bad_input, lines.name() + ":" + std::to_string(lines.line_number()) +
                                         ": expected an interface index and a name, for example 0x100000a Vlan10");
    }
    names[ifindex] = line.substr(line.find_first_not_of(blanks, blank));
  }
}

std::string interface_text(uint32 ifindex) {
  const auto name = names.find(ifindex);
  if (name != names.end()) return name->second;
  char digits[8];
  return "0x" + std::string(digits, std::to_chars(digits, digits + sizeof digits, ifindex, 16).ptr);
}

}  // namespace vrrpconvert
