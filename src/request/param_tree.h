// The parameter tree: one static table of every node the phone application can
// name, with the handler and argument that serve each leaf, linked at start-up.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>

#include "contract/context.h"

namespace pemo {

struct ParamNode {
  int index;             // unique except 283, used by two nodes
  int parent;            // index of the parent; "Device" is 0 with parent 0
  const char* name;      // member name; "i" for an instance level ("i1", "i2", ...)
  int type;              // kInt, kObject or kString
  ParamHandler handler;  // none for objects (and one leaf)
  const char* argument;  // handler argument text, or none
};

inline constexpr std::size_t kNodeCount = 279;

// The catalogue, in table order: every parent stands before its children, and the
// children of a node are linked (and searched) in this order.
std::span<const ParamNode, kNodeCount> param_table();

// The name of a handler the catalogue binds ("uci_param_handler"), for listings.
const char* handler_name(ParamHandler handler);

// Links of the table, built once and read-only afterwards; shared by every thread.
// Positions are table positions; kRoot is the link above "Device".
class ParamTree {
 public:
  static constexpr int kRoot = static_cast<int>(kNodeCount);

  ParamTree();

  const ParamNode& node(int position) const;
  // A node without children, and every link not set, refers to the node itself.
  int first_child(int position) const { return links_[slot(position)].first_child; }
  int next_sibling(int position) const { return links_[slot(position)].next; }
  int prev_sibling(int position) const { return links_[slot(position)].prev; }
  // On a first child: its parent. Elsewhere: the node itself.
  int up(int position) const { return links_[slot(position)].up; }
  bool has_children(int position) const { return first_child(position) != position; }
  // "Device.WiFi.SSID.{i}.SSID"
  std::string path(int position) const;

 private:
  struct Links {
    int first_child, next, prev, up;
  };
  static std::size_t slot(int position) { return static_cast<std::size_t>(position); }
  void link_child(int parent, int child);
  // The first linked node with this index in table order; the root when none.
  int find_linked(int index, int linked_count) const;

  std::array<Links, kNodeCount + 1> links_;
};

// The linked tree; linked on first use, which start-up makes happen before any
// thread that parses requests starts.
const ParamTree& param_tree();

}  // namespace pemo
