#include "request/param_tree.h"

#include <type_traits>
#include <vector>

namespace pemo {
namespace {

// The link above "Device": index 0, so that moving up from "Device" (parent 0)
// ends there.
constexpr ParamNode kRootNode{0, 0, "", kObject, nullptr, nullptr};

}  // namespace

ParamTree::ParamTree() {
  for (int k = 0; k <= kRoot; ++k) links_[slot(k)] = Links{k, k, k, k};
  // Entry 0 ("Device") becomes the first child of the root.
  links_[slot(kRoot)].first_child = 0;
  links_[0].up = kRoot;
  const auto table = param_table();
  for (int k = 1; k < static_cast<int>(kNodeCount); ++k)
    link_child(find_linked(table[slot(k)].parent, k), k);
}

int ParamTree::find_linked(int index, int linked_count) const {
  // Indices are unique apart from 283, which is nobody's parent, so the first
  // match in table order is the node a depth-first search would find.
  const auto table = param_table();
  for (int k = 0; k < linked_count; ++k)
    if (table[slot(k)].index == index) return k;
  return kRoot;
}

void ParamTree::link_child(int parent, int child) {
  Links& p = links_[slot(parent)];
  if (p.first_child == parent) {
    p.first_child = child;
    links_[slot(child)].up = parent;
    return;
  }
  // Append at the end of the ring: between the last sibling and the first child.
  const int first = p.first_child;
  const int last = links_[slot(first)].prev;
  links_[slot(last)].next = child;
  links_[slot(child)].prev = last;
  links_[slot(child)].next = first;
  links_[slot(first)].prev = child;
}

const ParamNode& ParamTree::node(int position) const {
  return position == kRoot ? kRootNode : param_table()[slot(position)];
}

std::string ParamTree::path(int position) const {
  std::vector<std::string> names;
  while (position != kRoot) {
    const ParamNode& n = node(position);
    names.push_back(n.name[0] == 'i' && n.name[1] == '\0' ? "{i}" : n.name);
    // Walk back to the first sibling, whose up link names the parent.
    int first = position;
    while (up(first) == first) first = prev_sibling(first);
    position = up(first);
  }
  std::string text;
  for (auto it = names.rbegin(); it != names.rend(); ++it) {
    if (!text.empty()) text += '.';
    text += *it;
  }
  return text;
}

// Read by every thread until the process ends; with nothing to tear down it needs
// no process_lifetime.
static_assert(std::is_trivially_destructible_v<ParamTree>);

const ParamTree& param_tree() {
  static const ParamTree tree;
  return tree;
}

}  // namespace pemo
