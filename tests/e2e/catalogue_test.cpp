// The whole catalogue against the simulated gateway: every top-level object
// answers a get of all its leaves, and every node of the tree is reached.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "platform/json.h"
#include "contract/nodes.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

TEST(Catalogue, EveryObjectAnswersAndEveryNodeIsReached) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({"-d", "7"}, true));
  const ParamTree& tree = param_tree();
  const int device = tree.first_child(ParamTree::kRoot);
  const int first = tree.first_child(device);
  int top = first;
  do {
    JsonPtr document(json_object_new_object());
    cli::add_member(document.get(), cli::member_path(tree, top), cli::every_leaf_below(tree, top).release());
    const std::string text = json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
    ASSERT_LE(text.size(), kMaxPayload) << tree.path(top);
    const client::Reply reply = gateway.exchange(kTypeParamGet, text);
    EXPECT_GT(reply.status(), 0) << tree.path(top) << " answered " << reply.status();
    top = tree.next_sibling(top);
  } while (top != first);

  // The write-only commands, and the action Channel of Radio.{i} (found after a
  // member that stands just before it).
  gateway.exchange(kTypeParamSet,
                   R"({"Device":{"X_Halvo_Ext":{"L2DevCtrl_WiFiON":{"HostMAC":"02:10:18:cc:dd:01"},)"
                   R"("L2DevCtrl_Firstboot":{"HostMAC":"02:10:18:cc:dd:01"},)"
                   R"("EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"},)"
                   R"("EndDevCtrl_UnBlocking":{"HostMAC":"a4:5e:60:11:22:33"},)"
                   R"("L2DevCtrl_Reboot":{"HostMAC":"02:10:18:cc:dd:01"},)"
                   R"("L2DevCtrl_WiFiOff":{"HostMAC":"02:10:18:cc:dd:01"}}}})");
  client::Session session = gateway.connect();  // a rule is added from the connection's host snapshot
  test::exchange(session, kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})");
  test::exchange(session, kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i4":{"X_Halvo_AddPcpRule":"1"}}}}})");
  gateway.exchange(kTypeParamGet, R"({"Device":{"WiFi":{"Radio":{"i1":{"OperatingStandards":"","Channel":0}}}}})");

  // Which nodes the agent bound, from its own debug log, which the gateway's
  // syslog writes a little later: read until every node is there, at most 10 s.
  std::size_t reached = 0;
  std::vector<std::string> missing;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  for (;;) {
    std::set<std::pair<int, int>> bound;
    std::istringstream log(gateway.read("/var/log/messages"));
    const std::regex binding(R"(ptr->index (\d+), ptr->parent (\d+))");
    for (std::string line; std::getline(log, line);) {
      std::smatch m;
      if (std::regex_search(line, m, binding)) bound.emplace(std::stoi(m[1]), std::stoi(m[2]));
    }
    reached = 0;
    missing.clear();
    for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
      const ParamNode& node = tree.node(k);
      // Instance levels are walked, not bound: they count through their children.
      const bool instance = std::string_view(node.name) == "i";
      const bool hit = instance ? bound.count({tree.node(tree.first_child(k)).index, node.index}) > 0
                                : bound.count({node.index, node.parent}) > 0;
      if (hit) ++reached;
      else missing.push_back(tree.path(k));
    }
    if (reached == kNodeCount || std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(100ms);
  }
  std::printf("catalogue coverage: %zu of %zu nodes reached end to end\n", reached, kNodeCount);
  EXPECT_EQ(reached, kNodeCount) << "not reached: " << ::testing::PrintToString(missing);
}

}  // namespace
}  // namespace pemo
