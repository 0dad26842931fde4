#include "request/parser.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/files.h"
#include "platform/json.h"
#include "platform/log.h"
#include "platform/shell.h"
#include "request/param_tree.h"

namespace pemo {
namespace {

// Entering "WiFi" in a set stops the WPS configuration watchers (the 2.4 GHz one,
// and the 5 GHz one at either of its intervals) before the settings change.
constexpr const char* kStopWpsWatchers[] = {
    "ps | grep 'watch -tn 1 wps_conf_24G' | grep -v grep | awk '{print $1}' | "
    "while read pid; do kill $pid; done",
    "ps | grep 'watch -tn [15] wps_conf_5G' | grep -v grep | awk '{print $1}' | "
    "while read pid; do kill $pid; done",
};

std::string_view value_text(json_object* value) {
  if (const auto text = json_text(value)) return *text;
  return json_object_to_json_string(value);
}

void bind_node(int position, ParseContext& context) {
  const ParamNode& node = param_tree().node(position);
  context.handler = node.handler;
  if (node.type == kObject) {
    context.text.clear();
    return;
  }
  std::string_view argument = node.argument != nullptr ? node.argument : "";
  context.text.assign(argument.substr(0, kMaxName));
  context.node_index = node.index;
  context.node_parent = node.parent;
}

// From a child level back to its parent: around the ring to the first child,
// whose up link names the parent.
void move_up(ParseContext& context) {
  const ParamTree& tree = param_tree();
  const int start = context.position;
  const int parent_index = tree.node(start).parent;
  int sibling = start;
  do {
    sibling = tree.next_sibling(sibling);
    if (tree.node(tree.up(sibling)).index == parent_index && tree.up(sibling) != sibling) {
      context.position = tree.up(sibling);
      return;
    }
  } while (sibling != start);
}

}  // namespace

ParseContext new_parse_context(bool set_request) {
  ParseContext context;
  context.position = ParamTree::kRoot;
  if (set_request) context.flags |= kFlagSet;
  return context;
}

int atoi_rule(std::string_view text) {
  std::size_t k = 0;
  while (k < text.size() && (text[k] == ' ' || (text[k] >= '\t' && text[k] <= '\r'))) ++k;
  bool negative = false;
  if (k < text.size() && (text[k] == '+' || text[k] == '-')) negative = text[k++] == '-';
  long long number = 0;
  for (; k < text.size() && text[k] >= '0' && text[k] <= '9'; ++k) {
    number = number * 10 + (text[k] - '0');
    if (number > static_cast<long long>(INT_MAX) + 1) number = static_cast<long long>(INT_MAX) + 1;
  }
  if (negative) number = -number;
  return static_cast<int>(std::min<long long>(std::max<long long>(number, INT_MIN), INT_MAX));
}

void write_back(json_object* value, const std::string& text) {
  switch (json_object_get_type(value)) {
    case json_type_int:
      json_object_set_int(value, atoi_rule(text));
      break;
    case json_type_boolean:
      json_object_set_boolean(value, atoi_rule(text) != 0);
      break;
    case json_type_string:
      json_object_set_string_len(value, text.data(), static_cast<int>(text.size()));
      break;
    default:
      break;
  }
}

bool wifi_busy() {
  return read_first_word("/tmp/wifi24G_Status") == "wifi24GisSetting" ||
         read_first_word("/tmp/wifi5G_Status") == "wifi5GisSetting";
}

int check_valid_msg(std::string_view name, json_object* value, ParseContext& context) {
  context.node_type = 0;
  context.handler = nullptr;
  context.text.clear();
  // Member names are matched on their first 63 characters; no node name is that
  // long, so a longer name never matches.
  if (name.size() > kMaxName) return kNothingHere;

  if (!name.empty() && name[0] == 'i') {
    context.flags |= kFlagInstance;
    int number = atoi_rule(name.substr(1));
    if (number < 1) return 0;  // "i", "i0", "ix": an instance level that records nothing
    if (context.instance_depth >= static_cast<int>(kMaxInstanceLevels)) return kTooManyInstances;
    context.instance[static_cast<std::size_t>(context.instance_depth)] = number - 1;
    log_msg(kLogDebug, "%s : index %d inum = %d\n", "check_valid_msg", context.instance_depth,
            number - 1);
    ++context.instance_depth;
    return context.instance_depth >= static_cast<int>(kMaxInstanceLevels) ? kTooManyInstances : 0;
  }

  const ParamTree& tree = param_tree();
  const int start = context.position;
  const int json_type = json_object_get_type(value);
  if (name == "X_Halvo_HostType" && json_type == json_type_string) {
    // The host type also arrives as a text from older applications: the search's
    // start node serves it, told by the text "old_define".
    context.node_type = tree.node(start).type;
    bind_node(start, context);
    context.text = "old_define";
    return 0;
  }
  int candidate = start;
  do {
    const ParamNode& node = tree.node(candidate);
    if (node.type == json_type && name == node.name) {
      context.position = candidate;
      log_msg(kLogDebug, "%s : %.*s : ptr->index %d, ptr->parent %d\n", "check_valid_msg",
              static_cast<int>(name.size()), name.data(), node.index, node.parent);
      context.node_type = node.type;
      bind_node(candidate, context);
      return 0;
    }
    candidate = tree.next_sibling(candidate);
  } while (candidate != start);
  return kNothingHere;
}

int message_parser(json_object* object, ParseContext& context) {
  context.position = param_tree().first_child(context.position);
  int result = 0;
  json_object_object_foreach(object, name, value) {
    const int depth_before = context.instance_depth;
    int r = check_valid_msg(name, value, context);
    if (r < 0 && (context.is_set() || r != kNothingHere)) {
      context.instance_depth = std::min(context.instance_depth, depth_before);
      return r;
    }

    bool instance_level = false;
    if ((context.flags & kFlagInstance) != 0) {
      log_msg(kLogDebug, "%s : inode:%s %s\n", "message_parser", name,
              json_object_to_json_string(value));
      context.flags &= ~kFlagInstance;
      instance_level = true;
    }
    const bool recorded = context.instance_depth > depth_before;

    if (json_object_is_type(value, json_type_object) && context.handler == nullptr) {
      log_msg(kLogDebug, "%s : object name = %s\n", "message_parser", name);
      const std::string_view object_name = name;
      if (object_name == "WiFi" && context.is_set()) {
        context.flags |= kFlagWifiApply;
        for (const char* command : kStopWpsWatchers) shell_fire(command);
      }
      const bool guest = object_name == "X_Halvo_GuestAP";
      if (guest) {
        if (context.is_set()) {
          if (wifi_busy()) return kWifiBusy;
          context.flags |= kFlagWifiApply;
        }
        context.flags |= kFlagGuestAp;
      }
      if (object_name == "Wan") context.flags |= kFlagWan;
      if (!instance_level) ++context.object_depth;
      result = message_parser(value, context);
      move_up(context);
      if (!instance_level)
        --context.object_depth;
      else if (recorded)
        --context.instance_depth;
      if (guest) context.flags &= ~kFlagGuestAp;
    } else if (context.handler != nullptr) {
      r = context.handler(name, value_text(value), context);
      if (r == kNothingHere) r = 0;
      if (r < 0) return r;
      if (context.text.size() > kMaxText) context.text.resize(kMaxText);
      if (!context.is_set() || !context.text.empty()) write_back(value, context.text);
    }
  }
  return result;
}

}  // namespace pemo
