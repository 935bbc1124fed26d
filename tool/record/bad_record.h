// The reason why a line is not a record.
#pragma once

#include <stdexcept>

namespace vrrpconvert {

// The message names the field.
struct BadRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace vrrpconvert
