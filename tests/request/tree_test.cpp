#include "request/param_tree.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "wifi/wifi.h"

namespace pemo {
namespace {

std::vector<std::string> child_names(const std::string& path) {
  const ParamTree& tree = param_tree();
  for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
    if (tree.path(k) != path) continue;
    std::vector<std::string> names;
    if (!tree.has_children(k)) return names;
    int child = tree.first_child(k);
    do {
      names.emplace_back(tree.node(child).name);
      child = tree.next_sibling(child);
    } while (child != tree.first_child(k));
    return names;
  }
  return {"<no such path>"};
}

TEST(ParamTree, ChildrenAreLinkedInTableOrder) {
  EXPECT_EQ(child_names("Device"),
            (std::vector<std::string>{"WiFi", "Hosts", "X_Halvo_Ext", "LANConfigSecurity",
                                      "DeviceInfo", "PPP", "DHCPv4", "IP", "Routing", "DNS"}));
  EXPECT_EQ(child_names("Device.WiFi"),
            (std::vector<std::string>{"SSID", "Radio", "AccessPointNumberOfEntries", "AccessPoint",
                                      "X_Halvo_GuestAP", "RadioNumberOfEntries",
                                      "SSIDNumberOfEntries"}));
  EXPECT_EQ(child_names("Device.WiFi.SSID.{i}"),
            (std::vector<std::string>{"SSID", "CheckFreqBand", "Enable", "SSIDDefault", "Status"}));
  EXPECT_EQ(child_names("Device.X_Halvo_Ext.Tovi123"),
            (std::vector<std::string>{"WanHWConnection", "WiFiHWButton", "WanInternetConnection",
                                      "WiFiAction", "WanAction", "WanType", "Wan"}));
}

TEST(ParamTree, EveryNodeHangsUnderItsOwnParent) {
  const ParamTree& tree = param_tree();
  std::set<std::string> paths;
  int wan_type_nodes = 0;
  for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
    const ParamNode& node = tree.node(k);
    paths.insert(tree.path(k));
    if (node.index == 283) {
      ++wan_type_nodes;
      EXPECT_EQ(tree.path(k), node.parent == 276 ? "Device.X_Halvo_Ext.Tovi123.WanType"
                                                 : "Device.X_Halvo_Ext.Tovi123.Wan.WanType");
    }
  }
  EXPECT_EQ(wan_type_nodes, 2);
  // Radio.{i} has two "Channel" leaves; every other path is unique.
  EXPECT_EQ(paths.size(), kNodeCount - 1);
  EXPECT_EQ(tree.first_child(ParamTree::kRoot), 0);
}

TEST(ParamTree, RingsGoAroundOnceAndLeadBackToTheParent) {
  const ParamTree& tree = param_tree();
  std::size_t linked = 0;
  for (int k = 0; k <= static_cast<int>(kNodeCount); ++k) {
    if (!tree.has_children(k)) continue;
    const int first = tree.first_child(k);
    EXPECT_EQ(tree.up(first), k);
    int child = first;
    do {
      ++linked;
      EXPECT_EQ(tree.node(child).parent, tree.node(k).index);
      EXPECT_EQ(tree.prev_sibling(tree.next_sibling(child)), child);
      if (child != first) {
        EXPECT_EQ(tree.up(child), child);
      }
      child = tree.next_sibling(child);
    } while (child != first);
  }
  EXPECT_EQ(linked, kNodeCount);  // each node, "Device" included, sits in exactly one ring
}

TEST(ParamTree, CatalogueBindsHandlersAndArguments) {
  const ParamTree& tree = param_tree();
  int leaves_without_handler = 0;
  for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
    const ParamNode& node = tree.node(k);
    if (node.type != kObject && node.handler == nullptr) {
      ++leaves_without_handler;
      EXPECT_EQ(tree.path(k), "Device.IP.Interface.{i}.AutoIPEnable");
    }
    if (tree.path(k) == "Device.LANConfigSecurity.ConfigPassword") {
      EXPECT_EQ(node.handler, &uci_param_handler);
      EXPECT_STREQ(node.argument, "system.main.pwd");
    }
    if (tree.path(k) == "Device.WiFi.SSID.{i}.Status") {
      EXPECT_STREQ(node.argument, "7");
    }
  }
  EXPECT_EQ(leaves_without_handler, 1);
  EXPECT_STREQ(handler_name(&uci_param_handler), "uci_param_handler");
}

}  // namespace
}  // namespace pemo
