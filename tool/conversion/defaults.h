// Default values of fields. If the target release assumes a value anyway, dropping it is not a loss.
#pragma once

#include <map>
#include <string>

#include "tool/record/record_fields.h"

namespace vrrpconvert {

class Defaults {
 public:
  // Adds "FIELD=VALUE", or "FIELD=OTHER" for the value of another field in the same record. Throws Error.
  void add(const std::string& text);

  // Returns the text that was passed to add() if the field of the record has its default value, else an empty text.
  std::string text_for(const StoredRecord& record, const Field& field) const;

 private:
  struct Default {
    std::string other{};  // name of another field, or empty
    std::string value{};
    std::string text{};
  };
  std::map<std::string, Default> defaults_;  // by field
};

}  // namespace vrrpconvert
