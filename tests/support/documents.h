// Request documents that reach any node of the parameter tree.
#pragma once

#include <json-c/json.h>

#include <set>
#include <string>
#include <vector>

#include "request/param_tree.h"

namespace pemo::test {

// The member names from "Device" down to `position`, instances as "i1".
inline std::vector<std::string> member_path(const ParamTree& tree, int position) {
  std::vector<std::string> names;
  for (int p = position; p != ParamTree::kRoot;) {
    const std::string name = tree.node(p).name;
    names.insert(names.begin(), name == "i" ? "i1" : name);
    int first = p;
    while (tree.up(first) == first) first = tree.prev_sibling(first);
    p = tree.up(first);
  }
  return names;
}

// The document that holds `value` (JSON text) as the member of `position`, or an
// empty object in its parent when `value` is empty.
inline std::string document_for(const ParamTree& tree, int position, const std::string& value) {
  const std::vector<std::string> names = member_path(tree, position);
  std::string text = value.empty() ? "{}" : "{\"" + names.back() + "\":" + value + "}";
  for (std::size_t k = names.size() - 1; k-- > 0;) text = "{\"" + names[k] + "\":" + text + "}";
  return text;
}

// Adds `value` to `root` as the member of `position`, creating the objects on
// the way that `root` does not have yet (`value` is taken over).
inline void add_member(json_object* root, const ParamTree& tree, int position, json_object* value) {
  const std::vector<std::string> names = member_path(tree, position);
  json_object* parent = root;
  for (std::size_t k = 0; k + 1 < names.size(); ++k) {
    json_object* next = json_object_object_get(parent, names[k].c_str());
    if (next == nullptr) {
      next = json_object_new_object();
      json_object_object_add(parent, names[k].c_str(), next);
    }
    parent = next;
  }
  json_object_object_add(parent, names.back().c_str(), value);
}

// A get request object holding every leaf below `position` (instances as "i1"),
// leaving out the nodes in `skip` (by index).
inline json_object* every_leaf_below(const ParamTree& tree, int position, const std::set<int>& skip = {}) {
  json_object* object = json_object_new_object();
  if (!tree.has_children(position)) return object;
  const int first = tree.first_child(position);
  int child = first;
  do {
    const ParamNode& node = tree.node(child);
    if (std::string_view(node.name) == "i") {
      json_object_object_add(object, "i1", every_leaf_below(tree, child, skip));
    } else if (node.type == kObject) {
      json_object_object_add(object, node.name, every_leaf_below(tree, child, skip));
    } else if (skip.count(node.index) == 0 && json_object_object_get(object, node.name) == nullptr) {
      json_object_object_add(object, node.name,
                             node.type == kInt ? json_object_new_int(0) : json_object_new_string(""));
    }
    child = tree.next_sibling(child);
  } while (child != first);
  return object;
}

}  // namespace pemo::test
