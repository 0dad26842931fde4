// The phone application's first-run set-up against the simulated gateway.
#include <gtest/gtest.h>

#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class QuickSetupFlow : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    ASSERT_TRUE(gateway_.start());
  }
  test::SimGateway gateway_;
};

TEST_F(QuickSetupFlow, FirstRunWithPppoe) {
  gateway_.write("/tmp/connect_internet", "1\n");
  EXPECT_EQ(gateway_.get(R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"WanHWConnection":0,"WanInternetConnection":0,"WanType":""}}}})"),
            R"({ "Device": { "X_Halvo_Ext": { "Tovi123": { "WanHWConnection": 1, "WanInternetConnection": 1, )"
            R"("WanType": "dhcp" } } } })");
  EXPECT_FALSE(test::file_exists(gateway_.path("/tmp/wanHWConnection")));
  EXPECT_TRUE(gateway_.called("uci_apply web-redirect"));

  EXPECT_EQ(gateway_.set(R"j({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{"PPPoE":{"Account":"jane@isp","Password":"s3cr'et $(x)"}}}}}})j"),
            "status 0");
  EXPECT_EQ(gateway_.uci_get("network.wan.proto"), "pppoe");
  EXPECT_EQ(gateway_.uci_get("network.wan.password"), "s3cr'et $(x)");
  EXPECT_FALSE(gateway_.called("uci_apply network"));
  std::this_thread::sleep_for(1500ms);
  EXPECT_TRUE(gateway_.called("uci_apply network"));
  EXPECT_EQ(gateway_.uci_get("network.wan.IP_version"), "IPv4_Only");
  EXPECT_EQ(gateway_.uci_get("network.wan.ipv6"), "0");
  EXPECT_EQ(gateway_.uci_get("system.main.Tovi123"), "1");
  EXPECT_EQ(gateway_.read("/tmp/old_wan_proto"), "pppoe\n");
}

TEST_F(QuickSetupFlow, UnpluggedWanAndAddresslessDhcp) {
  gateway_.knob("wan_link", "down");
  gateway_.knob("wan_ip", "none");
  EXPECT_EQ(gateway_.get(R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"WanHWConnection":0,"WanType":""}}}})"),
            R"({ "Device": { "X_Halvo_Ext": { "Tovi123": { "WanHWConnection": 0, "WanType": "pppoe" } } } })");
}

TEST_F(QuickSetupFlow, WifiAndWanInOneSetAppliesOnlyWifi) {
  client::Reply reply = gateway_.exchange(
      kTypeParamSet, R"({"Device":{"WiFi":{"RadioNumberOfEntries":0},"X_Halvo_Ext":{"Tovi123":{"Wan":{"WanType":"DHCP"}}}}})");
  EXPECT_EQ(reply.payload, "{}");
  std::this_thread::sleep_for(1500ms);
  EXPECT_TRUE(gateway_.called("uci_apply wireless"));
  EXPECT_FALSE(gateway_.called("uci_apply network"));
  EXPECT_EQ(gateway_.uci_get("network.wan.dns1"), "ISP,");
}

}  // namespace
}  // namespace pemo
