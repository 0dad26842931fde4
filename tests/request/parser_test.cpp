// The walk of request documents against the tree.
#include "request/parser.h"

#include <string>
#include <vector>

#include "contract/nodes.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/handler.h"

namespace pemo {
namespace {

using test::walk;
using test::Walk;

std::string instance_chain(int levels) {
  std::string text;
  for (int k = 0; k < levels; ++k) text += R"({"i1":)";
  text += "{}";
  for (int k = 0; k < levels; ++k) text += "}";
  return text;
}

std::string nested_instances(int levels) { return R"({"Device":)" + instance_chain(levels) + "}"; }

TEST(MessageParser, SevenInstanceLevelsPassAndEightFail) {
  EXPECT_EQ(walk(nested_instances(7)).result, 0);
  EXPECT_EQ(walk(nested_instances(8)).result, kTooManyInstances);
  EXPECT_EQ(walk(nested_instances(8), true).result, kTooManyInstances);
  // More levels after a failed branch never index past the instance table.
  Walk w = walk(R"({"Device":{"a":)" + instance_chain(8) + R"(,"b":)" + instance_chain(8) +
                R"(,"c":)" + instance_chain(3) + "}}");
  EXPECT_LE(w.context.instance_depth, 8);
}

// Members the tree does not have: walked past in a get, nothing to do in a set.
TEST(MessageParser, UnknownMembersAndObjects) {
  // "Nosuch" fails at the search that starts on "WiFi", so its members are looked
  // for among WiFi's children.
  const Walk w = walk(R"({"Device":{"Nosuch":{"RadioNumberOfEntries":0},"x":1}})");
  EXPECT_EQ(w.result, 0);
  EXPECT_EQ(w.reply, R"({"Device":{"Nosuch":{"RadioNumberOfEntries":2},"x":1}})");
  EXPECT_EQ(walk(R"({"Device":{"Nosuch":1}})", true).result, kNothingHere);
  EXPECT_EQ(walk(R"({"Device":{")" + std::string(64, 'W') + R"(":{}}})", true).result, kNothingHere);
}

TEST(MessageParser, HostTypeAsTextBindsTheStartNode) {
  // Text where the tree has an integer binds the node the search started on,
  // serving the host type (1 before any snapshot) as text.
  Walk w = walk(R"({"Device":{"Hosts":{"Host":{"i1":{"X_Halvo_HostType":"3"}}}}})");
  EXPECT_EQ(w.result, 0);
  EXPECT_EQ(w.context.node_index, node::kHostPhysAddress);
  EXPECT_EQ(w.reply, R"({"Device":{"Hosts":{"Host":{"i1":{"X_Halvo_HostType":"1"}}}}})");
}

// Handlers answer in text, written back by the member's type with the atoi
// rule: leading digits, clamped to the int range; other types keep their value.
TEST(WriteBack, ConvertsByTheValueType) {
  JsonPtr number(json_object_new_int(7)), real(json_object_new_double(1.5));
  for (const auto& [text, value] : {std::pair{"42abc", 42}, std::pair{"none", 0}, std::pair{"99999999999999", INT_MAX},
                                    std::pair{"  -99999999999", INT_MIN}}) {
    write_back(number.get(), text);
    EXPECT_EQ(json_object_get_int(number.get()), value) << text;
  }
  write_back(real.get(), "3");
  EXPECT_EQ(json_object_get_double(real.get()), 1.5);
}

using SetFlags = test::HandlerTest;

TEST_F(SetFlags, WifiInASetMarksTheApplyAndStopsWpsWatchers) {
  EXPECT_EQ(walk(R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})").context.flags & kFlagWifiApply, 0u);
  EXPECT_TRUE(runner_.commands().empty()) << "a get leaves the watchers running";
  EXPECT_EQ(walk(R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})", true).context.flags & kFlagWifiApply, kFlagWifiApply);
  EXPECT_EQ(runner_.commands(), test::kWpsWatcherStops);
}

TEST_F(SetFlags, GuestNetworkIsRefusedWhileWifiIsBeingSet) {
  const std::string guest = R"({"Device":{"WiFi":{"X_Halvo_GuestAP":{"SSID":"g"}}}})";
  Walk w = walk(guest, true);
  EXPECT_EQ(w.result, 0);
  EXPECT_EQ(w.context.flags & (kFlagWifiApply | kFlagGuestAp), kFlagWifiApply);
  test::write_file("/tmp/wifi5G_Status", "wifi5GisSetting\n");
  EXPECT_EQ(walk(guest, true).result, kWifiBusy);
  EXPECT_EQ(walk(guest).result, 0);  // reads go on
  test::write_file("/tmp/wifi5G_Status", "done\n");
  test::write_file("/tmp/wifi24G_Status", "  wifi24GisSetting");
  EXPECT_EQ(walk(guest, true).result, kWifiBusy);
}


// A member whose JSON type is not its node's matches nothing (numbers beyond 64
// bits arrive as integers, 1e999 as a double): at every node, in a get and in a
// set, it comes back as sent and runs no command the same walk without it would not.
TEST_F(SetFlags, MembersOfAnotherTypeChangeNothingAtEveryNode) {
  const std::pair<const char*, json_type> values[] = {
      {"null", json_type_null}, {"true", json_type_boolean}, {"1.5", json_type_double}, {"1e999", json_type_double},
      {"[1,\"x\",{}]", json_type_array}, {"{}", json_type_object}, {"0", json_type_int},
      {"99999999999999999999999", json_type_int}, {"\"$(reboot)\"", json_type_string},
  };
  const ParamTree& tree = param_tree();
  int walks = 0;
  for (int position = 0; position < static_cast<int>(kNodeCount); ++position) {
    const int type = tree.node(position).type;
    const json_type own = type == kInt ? json_type_int : type == kString ? json_type_string : json_type_object;
    // A host type sent as text is served on purpose (HostTypeAsTextBindsTheStartNode).
    const bool host_type = std::string_view(tree.node(position).name) == "X_Halvo_HostType";
    for (const bool set_request : {false, true}) {
      std::size_t before = runner_.commands().size();
      walk(test::document_for(tree, position, ""), set_request);
      const std::vector<std::string> bare = runner_.commands(before);
      for (const auto& [value, value_type] : values) {
        if (value_type == own || (host_type && value_type == json_type_string)) continue;
        const std::string text = test::document_for(tree, position, value);
        const std::string where = tree.path(position) + " = " + value + (set_request ? " (set)" : " (get)");
        JsonPtr sent(json_tokener_parse(text.c_str()));
        ASSERT_TRUE(sent) << text;
        before = runner_.commands().size();
        EXPECT_EQ(walk(text, set_request).reply, json_object_to_json_string_ext(sent.get(), JSON_C_TO_STRING_PLAIN))
            << where;
        EXPECT_EQ(runner_.commands(before), bare) << where;
        ++walks;
      }
    }
  }
  EXPECT_GT(walks, 3000);
  for (const char* package : {"wireless", "system", "network", "parental", "firewall"})
    EXPECT_EQ(test::read_file(std::string("/etc/config/") + package),
              test::read_file(std::string(PEMO_SOURCE_DIR "/sim/seed/etc/config/") + package))
        << package;
}

}  // namespace
}  // namespace pemo
