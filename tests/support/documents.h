// Request documents that reach any node of the parameter tree.
#pragma once

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

}  // namespace pemo::test
