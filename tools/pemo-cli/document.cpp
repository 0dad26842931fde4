#include "document.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>

#include "contract/nodes.h"
#include "wire/status.h"

namespace pemo::cli {
namespace {

constexpr std::string_view kInstance = "i";
constexpr const char* kBandMember = "CheckFreqBand";
// Instance numbers a path may name: the agent keeps them in an int.
constexpr std::size_t kMaxInstanceDigits = 9;
constexpr int kOutputFlags = JSON_C_TO_STRING_NOSLASHESCAPE;

bool is_instance(const ParamTree& tree, int position) { return tree.node(position).name == kInstance; }

// The children of `position`, in the order the agent searches them.
std::vector<int> children(const ParamTree& tree, int position) {
  std::vector<int> found;
  if (!tree.has_children(position)) return found;
  const int first = tree.first_child(position);
  for (int child = first;;) {
    found.push_back(child);
    child = tree.next_sibling(child);
    if (child == first) return found;
  }
}

// The first child named `name`, or -1.
int child_named(const ParamTree& tree, int position, std::string_view name) {
  for (int child : children(tree, position))
    if (tree.node(child).name == name) return child;
  return -1;
}

// The instance level below `position`, or -1.
int instance_child(const ParamTree& tree, int position) { return child_named(tree, position, kInstance); }

// "1".."999999999" as an instance number; nothing for any other text.
bool instance_number(std::string_view text, int& number) {
  if (text.empty() || text.size() > kMaxInstanceDigits || text[0] == '0') return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

std::string known_below(const ParamTree& tree, int position) {
  std::string names;
  for (int child : children(tree, position)) {
    if (!names.empty()) names += ", ";
    names += is_instance(tree, child) ? "1, 2, ..." : tree.node(child).name;
  }
  return names;
}

struct Resolved {
  int position = -1;
  std::vector<std::string> members;
  bool subtree = false;  // the path ended in '.'
};

// Follows a dotted path through the tree: names step to a child, numbers to an
// instance of the table above them.
bool resolve(std::string_view path, Resolved& out, std::string& error) {
  const ParamTree& tree = param_tree();
  out = {};
  out.subtree = !path.empty() && path.back() == '.';
  if (out.subtree) path.remove_suffix(1);
  int position = ParamTree::kRoot;
  std::string walked;
  for (std::size_t start = 0; start <= path.size();) {
    std::size_t dot = path.find('.', start);
    if (dot == std::string_view::npos) dot = path.size();
    const std::string_view segment = path.substr(start, dot - start);
    int next = -1;
    int number = 0;
    if (const int table = instance_child(tree, position); table >= 0 && instance_number(segment, number)) {
      next = table;
      out.members.push_back("i" + std::to_string(number));
    } else if (!segment.empty() && (next = child_named(tree, position, segment)) >= 0) {
      out.members.emplace_back(segment);
    }
    if (next < 0) {
      error = "no " + std::string(path.substr(0, dot)) + " in the agent's tree";
      if (position != ParamTree::kRoot) error += " (below " + walked + ": " + known_below(tree, position) + ")";
      return false;
    }
    walked = std::string(path.substr(0, dot));
    position = next;
    start = dot + 1;
  }
  out.position = position;
  if (tree.node(position).type == kObject && !out.subtree) {
    error = walked + " is an object: end it with '.' to name every leaf below it";
    return false;
  }
  if (tree.node(position).type != kObject && out.subtree) {
    error = walked + " is a leaf: name it without the final '.'";
    return false;
  }
  return true;
}

json_object* leaf_value(int type) { return type == kInt ? json_object_new_int(0) : json_object_new_string(""); }

// The tree position of member `name` of the object at `position`, or -1.
int member_node(const ParamTree& tree, int position, std::string_view name) {
  int number = 0;
  if (name.size() > 1 && name[0] == 'i' && instance_number(name.substr(1), number))
    if (const int table = instance_child(tree, position); table >= 0) return table;
  return child_named(tree, position, name);
}

void check_members(const ParamTree& tree, json_object* object, int position, const std::string& path,
                   std::vector<std::string>& found) {
  json_object_object_foreach(object, key, value) {
    const std::string here = path + "." + key;
    const int node = member_node(tree, position, key);
    if (node < 0) {
      found.push_back(here + ": not in the agent's tree");
      continue;
    }
    const int type = tree.node(node).type;
    const bool matches = type == kObject   ? json_object_is_type(value, json_type_object)
                         : type == kInt    ? json_object_is_type(value, json_type_int)
                                           : json_object_is_type(value, json_type_string);
    if (!matches) {
      found.push_back(here + ": the agent takes " +
                      (type == kObject ? "an object" : type == kInt ? "an integer" : "a text") +
                      " here, and passes over anything else");
    } else if (type == kObject) {
      check_members(tree, value, node, here, found);
    }
  }
}

void put_band(const ParamTree& tree, json_object* object, int position, std::string_view band) {
  json_object_object_foreach(object, key, value) {
    const int node = member_node(tree, position, key);
    if (node >= 0 && json_object_is_type(value, json_type_object)) put_band(tree, value, node, band);
  }
  if (child_named(tree, position, kBandMember) < 0 || json_member(object, kBandMember) != nullptr) return;
  // json-c appends members: move the others behind the band.
  std::vector<std::pair<std::string, json_object*>> members;
  json_object_object_foreach(object, name, member) members.emplace_back(name, json_object_get(member));
  for (const auto& moved : members) json_object_object_del(object, moved.first.c_str());
  json_object_object_add(object, kBandMember,
                         json_object_new_string_len(band.data(), static_cast<int>(band.size())));
  for (const auto& moved : members) json_object_object_add(object, moved.first.c_str(), moved.second);
}

void paths_of(json_object* value, const std::string& path, std::string& out) {
  if (json_object_is_type(value, json_type_object)) {
    json_object_object_foreach(value, key, member) {
      const std::string_view name = key;
      int number = 0;
      const bool instance = name.size() > 1 && name[0] == 'i' && instance_number(name.substr(1), number);
      paths_of(member, path + "." + std::string(instance ? name.substr(1) : name), out);
    }
    return;
  }
  std::string text = json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | kOutputFlags);
  // A text value stands without its quotes; its escapes keep it on one line.
  if (json_object_is_type(value, json_type_string)) text = text.substr(1, text.size() - 2);
  out += path.substr(1) + "=" + text + "\n";
}

}  // namespace

std::string value_text(json_object* value) {
  if (value == nullptr) return "";
  if (auto text = json_text(value)) return std::string(*text);
  return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}

std::vector<std::string> member_path(const ParamTree& tree, int position) {
  std::vector<std::string> names;
  for (int p = position; p != ParamTree::kRoot;) {
    const std::string name = tree.node(p).name;
    names.insert(names.begin(), name == kInstance ? "i1" : name);
    int first = p;
    while (tree.up(first) == first) first = tree.prev_sibling(first);
    p = tree.up(first);
  }
  return names;
}

void add_member(json_object* root, const std::vector<std::string>& names, json_object* value) {
  json_object* parent = root;
  for (std::size_t k = 0; k + 1 < names.size(); ++k) {
    json_object* next = json_member(parent, names[k].c_str());
    if (!json_object_is_type(next, json_type_object)) {
      next = json_object_new_object();
      json_object_object_add(parent, names[k].c_str(), next);
    }
    parent = next;
  }
  json_object_object_add(parent, names.back().c_str(), value);
}

JsonPtr every_leaf_below(const ParamTree& tree, int position) {
  JsonPtr object(json_object_new_object());
  for (int child : children(tree, position)) {
    const ParamNode& node = tree.node(child);
    const char* name = is_instance(tree, child) ? "i1" : node.name;
    if (node.type == kObject) {
      json_object_object_add(object.get(), name, every_leaf_below(tree, child).release());
    } else if (std::find(node::kWriteOnly.begin(), node::kWriteOnly.end(), node.index) == node::kWriteOnly.end() &&
               json_member(object.get(), name) == nullptr) {
      json_object_object_add(object.get(), name, leaf_value(node.type));
    }
  }
  return object;
}

namespace {

// The JSON value of `text` for the leaf at `position`: an integer leaf takes an integer.
json_object* typed_value(int position, std::string_view path, std::string_view text, std::string& error) {
  if (param_tree().node(position).type != kInt)
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
  int number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || problem != std::errc() || end != text.data() + text.size()) {
    error = std::string(path) + " takes an integer, not '" + std::string(text) + "'";
    return nullptr;
  }
  return json_object_new_int(number);
}

// Adds PATH or PATH=VALUE; a leaf without a value reads as 0 or "".
bool add_path(json_object* root, std::string_view word, bool value_required, std::string& error) {
  const std::size_t equals = word.find('=');
  if (value_required && equals == std::string_view::npos) {
    error = "a set takes PATH=VALUE: " + std::string(word);
    return false;
  }
  const std::string_view path = word.substr(0, equals);
  Resolved resolved;
  if (!resolve(path, resolved, error)) return false;
  const ParamTree& tree = param_tree();
  json_object* value = nullptr;
  if (equals == std::string_view::npos) {
    value = resolved.subtree ? every_leaf_below(tree, resolved.position).release()
                             : leaf_value(tree.node(resolved.position).type);
  } else if (resolved.subtree) {
    error = "a value belongs to one leaf: " + std::string(path);
    return false;
  } else if ((value = typed_value(resolved.position, path, word.substr(equals + 1), error)) == nullptr) {
    return false;
  }
  add_member(root, resolved.members, value);
  return true;
}

}  // namespace

bool add_get(json_object* root, std::string_view path, std::string& error) {
  return add_path(root, path, false, error);
}

bool add_set(json_object* root, std::string_view assignment, std::string& error) {
  return add_path(root, assignment, true, error);
}

void add_band(json_object* root, std::string_view band) {
  json_object* device = json_member(root, "Device");
  const ParamTree& tree = param_tree();
  if (json_object_is_type(device, json_type_object)) put_band(tree, device, tree.first_child(ParamTree::kRoot), band);
}

bool parse_document(std::string_view text, JsonPtr& document, std::string& error) {
  std::unique_ptr<json_tokener, decltype(&json_tokener_free)> tokener(json_tokener_new(), json_tokener_free);
  document.reset(json_tokener_parse_ex(tokener.get(), text.data(), static_cast<int>(text.size())));
  std::size_t end = json_tokener_get_parse_end(tokener.get());
  const json_tokener_error state = json_tokener_get_error(tokener.get());
  std::string why;
  if (state == json_tokener_continue) {
    why = "the document ends too early";
    end = text.size();
  } else if (state != json_tokener_success) {
    why = json_tokener_error_desc(state);
  } else if (text.find_first_not_of(" \t\r\n", end) != std::string_view::npos) {
    why = "more text after the document";
    end = text.find_first_not_of(" \t\r\n", end);
  } else if (!json_object_is_type(document.get(), json_type_object)) {
    why = "a request document is a JSON object";
    end = text.find_first_not_of(" \t\r\n");
  } else {
    return true;
  }
  document.reset();
  const std::string_view before = text.substr(0, std::min(end, text.size()));
  const std::size_t line_start = before.rfind('\n');
  const std::size_t column = line_start == std::string_view::npos ? before.size() + 1 : before.size() - line_start;
  error = "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ", column " +
          std::to_string(column) + ": " + why;
  return false;
}

std::vector<std::string> unknown_members(json_object* document) {
  std::vector<std::string> found;
  const ParamTree& tree = param_tree();
  check_members(tree, document, ParamTree::kRoot, "", found);
  for (std::string& line : found) line.erase(0, 1);  // the leading '.'
  return found;
}

std::string format_reply(json_object* document, Layout layout) {
  switch (layout) {
    case Layout::kCompact:
      return std::string(json_object_to_json_string_ext(document, JSON_C_TO_STRING_PLAIN | kOutputFlags)) + "\n";
    case Layout::kPretty:
      return std::string(json_object_to_json_string_ext(
                 document, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED | kOutputFlags)) + "\n";
    case Layout::kPaths:
      break;
  }
  std::string out;
  paths_of(document, "", out);
  return out;
}

std::string_view status_meaning(int status) {
  const StatusRow* row = status_row(status);
  return row != nullptr ? row->meaning : "an unknown status";
}

}  // namespace pemo::cli
