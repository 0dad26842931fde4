// The message parser: walks a request document against the parameter tree,
// binds each member to its node and calls the node's handler.
#pragma once

#include <json-c/json.h>

#include <string>
#include <string_view>

#include "contract/context.h"

namespace pemo {

// A context zeroed and positioned above "Device", in get or set mode.
ParseContext new_parse_context(bool set_request);

// Walks one object level (recursively). 0, or the first error that ends the walk.
[[nodiscard]] int message_parser(json_object* object, ParseContext& context);

// Records an instance member, or finds and binds the node of a member.
int check_valid_msg(std::string_view name, json_object* value, ParseContext& context);

// Stores a handler's result text into a member's value, by the value's JSON type.
void write_back(json_object* value, const std::string& text);

// atoi's reading of a text: leading blanks, a sign, digits; 0 when none, clamped
// to the int range instead of overflowing.
int atoi_rule(std::string_view text);

// True while another process reconfigures Wi-Fi.
bool wifi_busy();

}  // namespace pemo
