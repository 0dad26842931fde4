// Request documents as a person writes them: dotted paths typed by the agent's
// own tree, or JSON text in any layout; and replies as a person reads them.
#pragma once

#include <json-c/json.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json.h"
#include "request/param_tree.h"

namespace pemo::cli {

// The member names from "Device" down to tree position `position`, instance
// levels as "i1".
std::vector<std::string> member_path(const ParamTree& tree, int position);

// Adds `value` (taken over) to `root` under the member names `names`, creating
// the objects on the way; members keep the order in which they were first added.
void add_member(json_object* root, const std::vector<std::string>& names, json_object* value);

// A get object holding every readable leaf below `position`, each instance
// table as its first instance; leaves whose get is an error by design are left out.
JsonPtr every_leaf_below(const ParamTree& tree, int position);

// Adds a get of `path` ("Device.WiFi.SSID.1.SSID", or "Device.WiFi." for every
// leaf below) to `root`; "PATH=VALUE" sends that value in the get (some members
// are inputs: CheckFreqBand, a traceroute's Host). False with `error` for a path
// the tree does not know.
bool add_get(json_object* root, std::string_view path, std::string& error);
// Adds a set of `assignment` ("Device.WiFi.SSID.1.SSID=Home"); the value is
// typed by the tree: an integer leaf takes a JSON integer.
bool add_set(json_object* root, std::string_view assignment, std::string& error);
// Puts "CheckFreqBand":`band` first in every object of `root` whose node has
// that member, so that the members after it address that radio.
void add_band(json_object* root, std::string_view band);

// Parses a request document written in any layout. False with `error` naming
// the line and column for text that is not one JSON object.
bool parse_document(std::string_view text, JsonPtr& document, std::string& error);
// Members of `document` that the tree does not know, or that have another JSON
// type than their node, each as "PATH: why".
std::vector<std::string> unknown_members(json_object* document);

enum class Layout { kCompact, kPretty, kPaths };
// A document for standard output: compact or indented JSON, or one
// "Device.A.1.B=value" line per leaf (text values with JSON's escapes).
std::string format_reply(json_object* document, Layout layout);

// A reply value as a person reads it: a text without quotes, anything else as
// compact JSON, nothing as "".
std::string value_text(json_object* value);

// The meaning of one status, or "an unknown status".
std::string_view status_meaning(int status);

}  // namespace pemo::cli
