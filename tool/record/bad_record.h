// Why a line is no record.
#ifndef TOOL_RECORD_BAD_RECORD_H
#define TOOL_RECORD_BAD_RECORD_H

#include <stdexcept>

namespace vrrpconvert {

// The message names the field.
struct BadRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace vrrpconvert

#endif
