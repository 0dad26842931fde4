// The whole catalogue against the simulated gateway: every top-level object
// answers a get of all its leaves, and every node of the tree is reached.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <thread>

#include "platform/json.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

// The paths of the nodes that the agent's debug log never shows bound.
std::vector<std::string> unbound(const ParamTree& tree, const std::string& log) {
  std::set<std::pair<int, int>> bound;  // index, parent
  const std::regex binding(R"(ptr->index (\d+), ptr->parent (\d+))");
  for (std::sregex_iterator m(log.begin(), log.end(), binding), end; m != end; ++m)
    bound.emplace(std::stoi((*m)[1]), std::stoi((*m)[2]));
  std::vector<std::string> missing;
  for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
    const ParamNode& node = tree.node(k);
    // Instance levels are walked, not bound: they count through their children.
    const auto key = std::string_view(node.name) == "i" ? std::pair{tree.node(tree.first_child(k)).index, node.index}
                                                          : std::pair{node.index, node.parent};
    if (bound.count(key) == 0) missing.push_back(tree.path(k));
  }
  return missing;
}

TEST(Catalogue, EveryObjectAnswersAndEveryNodeIsReached) {
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({"-d", "7"}, true));
  const ParamTree& tree = param_tree();
  const int first = tree.first_child(tree.first_child(ParamTree::kRoot));
  for (int top = first;;) {
    JsonPtr document(json_object_new_object());
    cli::add_member(document.get(), cli::member_path(tree, top), cli::every_leaf_below(tree, top).release());
    const std::string text = json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
    ASSERT_LE(text.size(), kMaxPayload) << tree.path(top);
    EXPECT_GT(gateway.exchange(kTypeParamGet, text).status(), 0) << tree.path(top);
    if ((top = tree.next_sibling(top)) == first) break;
  }
  // The write-only commands, a rule added from the connection's host snapshot, and
  // the action Channel of Radio.{i} (found after a member that stands just before it).
  client::Session session = gateway.connect();
  for (const auto& [type, text] : {
           std::pair{kTypeParamSet, R"({"Device":{"X_Halvo_Ext":{"L2DevCtrl_WiFiON":{"HostMAC":"02:10:18:cc:dd:01"},)"
                                    R"("L2DevCtrl_Firstboot":{"HostMAC":"02:10:18:cc:dd:01"},)"
                                    R"("EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"},)"
                                    R"("EndDevCtrl_UnBlocking":{"HostMAC":"a4:5e:60:11:22:33"},)"
                                    R"("L2DevCtrl_Reboot":{"HostMAC":"02:10:18:cc:dd:01"},)"
                                    R"("L2DevCtrl_WiFiOff":{"HostMAC":"02:10:18:cc:dd:01"}}}})"},
           std::pair{kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})"},
           std::pair{kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i4":{"X_Halvo_AddPcpRule":"1"}}}}})"},
           std::pair{kTypeParamGet, R"({"Device":{"WiFi":{"Radio":{"i1":{"OperatingStandards":"","Channel":0}}}}})"}})
    EXPECT_GT(test::exchange(session, type, text).status(), 0) << text;

  // The gateway's syslog writes the debug log a little later: read it until every
  // node is there, for at most 10 s.
  std::vector<std::string> missing;
  test::eventually([&] { return (missing = unbound(tree, gateway.read("/var/log/messages"))).empty(); });
  std::printf("catalogue coverage: %zu of %zu nodes reached end to end\n", kNodeCount - missing.size(), kNodeCount);
  EXPECT_TRUE(missing.empty()) << "not reached: " << ::testing::PrintToString(missing);
}

}  // namespace
}  // namespace pemo
