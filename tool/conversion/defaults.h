// Default values of fields: a conversion that drops a value which the target release assumes anyway loses nothing.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tool/record/record_fields.h"

namespace vrrpconvert {

class Defaults {
 public:
  // Adds "FIELD=VALUE", or "FIELD=OTHER" for the value of another field of the same record. Throws Error.
  void add(const std::string& text);

  // Whether the field of the record has its default value.
  bool contains(const StoredRecord& record, const Field& field) const;

  const std::vector<std::string>& texts() const { return texts_; }

 private:
  struct Default {
    std::string other{};  // the name of a field, or empty
    std::string value{};
  };
  std::map<std::string, Default> defaults_;  // by field
  std::vector<std::string> texts_;
};

}  // namespace vrrpconvert
