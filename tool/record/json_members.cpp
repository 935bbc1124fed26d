#include "tool/record/json_members.h"

#include <algorithm>
#include <vector>

#include "tool/record/bad_record.h"

namespace vrrpconvert {
namespace {

// Refuses what no record has while the line is parsed, so that a hostile line costs no more than its own length.
class Guard {
 public:
  bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
    using Event = Json::parse_event_t;
    if (event == Event::key) add_name(static_cast<size_t>(depth), parsed.get_ref<const std::string&>());
    const bool is_in_object = !names_.empty();
    if (!is_in_object && (event == Event::value || event == Event::array_start)) {
      throw BadRecord("expected a JSON object");
    }
    if (event == Event::array_start || (event == Event::object_start && depth == 2)) {
      throw BadRecord("field \"" + names_.front().back() +
                      "\": expected one value; neither a list nor a nested object can stand here");
    }
    if (event == Event::object_start) names_.emplace_back();
    if (event == Event::object_end && depth == 1) names_.pop_back();
    return true;
  }

 private:
  void add_name(size_t depth, const std::string& name) {
    constexpr size_t members_max = 32;  // no record has as many
    std::vector<std::string>& names = names_[depth - 1];
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      throw BadRecord("field \"" + name + "\": stands here twice");
    }
    if (names.size() == members_max) throw BadRecord("more fields than any record has");
    names.push_back(name);
  }

  std::vector<std::vector<std::string>> names_;  // of the objects that are open
};

Json parse(std::string_view line) {
  try {
    return Json::parse(line, Guard());
  } catch (const Json::out_of_range&) {
    throw BadRecord("a number in it is too large; expected one record a line");
  } catch (const Json::parse_error& error) {
    throw BadRecord("not JSON, at column " + std::to_string(error.byte) + "; expected one record a line");
  }
}

}  // namespace

JsonMembers::JsonMembers(std::string_view line) : object_(parse(line)) {}

const Json* JsonMembers::take(const char* name) {
  const auto found = object_.find(name);
  if (found == object_.end()) return nullptr;
  taken_.push_back(&*found);
  return taken_.back();
}

void JsonMembers::refuse_others() const {
  for (const auto& [name, value] : object_.items()) {
    if (std::find(taken_.begin(), taken_.end(), &value) != taken_.end()) continue;
    throw BadRecord("field \"" + name + "\": there is no such field in this record");
  }
}

}  // namespace vrrpconvert
