#include "tool/record/json_members.h"

#include <algorithm>

#include "tool/record/bad_record.h"

namespace vrrpconvert {
namespace {

constexpr size_t members_max = 32;  // no record has more

}  // namespace

// Receives the parser's events. If the parser built a JSON value of each line, an import would take 1.4 times as long.
class JsonMembers::Reader : public nlohmann::json_sax<Json> {
 public:
  explicit Reader(std::vector<Member>& members) : members_(members) {}

  bool null() override { return take_value(nullptr); }
  bool boolean(bool value) override { return take_value(value); }
  bool number_integer(number_integer_t value) override { return take_value(value); }
  bool number_unsigned(number_unsigned_t value) override { return take_value(value); }
  bool number_float(number_float_t value, const string_t&) override { return take_value(value); }
  bool string(string_t& value) override { return take_value(std::move(value)); }
  bool binary(binary_t&) override { return false; }  // JSON has no binary values

  bool start_object(std::size_t) override {
    if (++depth_ > 2) refuse_nesting();
    if (depth_ == 2) members_.back().value = Json::object();
    return true;
  }

  bool key(string_t& name) override {
    const bool is_twice =
        depth_ == 2 ? members_.back().value.contains(name)
                    : std::any_of(members_.begin(), members_.end(), [&](const Member& m) { return m.name == name; });
    if (is_twice) throw BadRecord("field \"" + name + "\": duplicate field");
    if ((depth_ == 2 ? members_.back().value.size() : members_.size()) == members_max)
      throw BadRecord("too many fields");
    if (depth_ == 2) {
      inner_name_ = std::move(name);
    } else {
      members_.push_back({std::move(name), nullptr});
    }
    return true;
  }

  bool end_object() override {
    --depth_;
    return true;
  }

  bool start_array(std::size_t) override {
    if (depth_ == 0) refuse_other_than_object();
    refuse_nesting();
  }

  bool end_array() override { return true; }

  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& error) override {
    constexpr int number_overflow = 406;
    throw BadRecord(error.id == number_overflow
                        ? "a number is too large; expected at most 4294967295"
                        : "not JSON, at column " + std::to_string(position) + "; expected one record per line");
  }

 private:
  template <typename Value>
  bool take_value(Value&& value) {
    if (depth_ == 0) refuse_other_than_object();
    Json& place = depth_ == 2 ? members_.back().value[inner_name_] : members_.back().value;
    place = std::forward<Value>(value);
    return true;
  }

  [[noreturn]] static void refuse_other_than_object() { throw BadRecord("expected a JSON object"); }

  [[noreturn]] void refuse_nesting() const {
    throw BadRecord("field \"" + members_.back().name + "\": expected one value, not a list or a nested object");
  }

  std::vector<Member>& members_;
  int depth_ = 0;
  std::string inner_name_;
};

JsonMembers::JsonMembers(std::string_view line) {
  members_.reserve(members_max);
  Reader reader(members_);
  Json::sax_parse(line, &reader);
}

const Json* JsonMembers::take(std::string_view name) {
  for (size_t tried = 0; tried < members_.size(); ++tried) {
    Member& member = members_[next_ % members_.size()];
    if (member.name == name) member.is_taken = true;
    ++next_;
    if (member.name == name) return &member.value;
  }
  return nullptr;
}

void JsonMembers::refuse_others() const {
  for (const Member& member : members_) {
    if (!member.is_taken) throw BadRecord("field \"" + member.name + "\": unknown field");
  }
}

}  // namespace vrrpconvert
