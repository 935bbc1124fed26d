// JSON as the tool writes and reads it: members stay in their order.
#ifndef TOOL_JSON_H
#define TOOL_JSON_H

#include <nlohmann/json.hpp>
#include <string>

namespace vrrpconvert {

using Json = nlohmann::ordered_json;

// JSON as text; bytes that are no UTF-8, as in a path, are replaced.
inline std::string dumped(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace vrrpconvert

#endif
