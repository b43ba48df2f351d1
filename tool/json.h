// JSON on standard output: keys in the order in which they are put in, two blanks a level.
#pragma once

#include "tool/terminal.h"

#include <nlohmann/json.hpp>

namespace zuk::tool {

using Json = nlohmann::ordered_json;

// A path that is no UTF-8 shows with replacement characters; names are escaped before they get here.
inline void put_json(const Json &json) { put(json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"); }

} // namespace zuk::tool
