// The agent in the simulated gateway, driven as the phone application drives it.
#include "support/gateway.h"

#include <gtest/gtest.h>

#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class Gateway : public testing::Test {
 protected:
  test::SimGateway gateway_;
};

// Starts quickly, serves, and records its start-up; a second agent fails to bind
// after writing its own id, and one without its feature list stops before it serves.
TEST_F(Gateway, StartsServesAndRefusesASecondInstance) {
  auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(gateway_.start()) << test::read_file("/tmp/gateway.log");
  auto started = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(started, 1s);

  client::Reply reply = gateway_.exchange(kTypeSysQuery, std::string(client::kFeatureRequest));
  EXPECT_NE(reply.payload.find(R"("MagicNum": "Q5190")"), std::string::npos) << reply.status();
  EXPECT_NE(gateway_.read("/tmp/mfsh.info").find("Serial Number: "), std::string::npos);
  EXPECT_EQ(gateway_.run("grep -c 'cannot write' /var/log/messages"), "0\n");  // its pid file, among others
  EXPECT_EQ(gateway_.run("grep -c 'user.info pemo-agent: PEMO Agent UDP socket ready!$' /var/log/messages"), "1\n");
  // A request reads each package once; a commit by the platform's tool between two
  // requests of one session shows in the second.
  client::Session session = gateway_.connect();
  const std::string ssid = R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":""}}}}})";
  const auto named = [](const char* name) {
    return std::string(R"({ "Device": { "WiFi": { "SSID": { "i1": { "SSID": ")") + name + "\" } } } } }";
  };
  EXPECT_EQ(test::exchange(session, kTypeParamGet, ssid).payload, named("HomeGateway-2.4G"));
  gateway_.run("uci set wireless.@wifi-iface[0].ssid=Other && uci commit wireless");
  EXPECT_EQ(test::exchange(session, kTypeParamGet, ssid).payload, named("Other"));
  EXPECT_EQ(gateway_.run("pemo-agent >/tmp/second.log 2>&1 & pid=$!; wait $pid; "
                         "echo $? $(grep -c bind /tmp/second.log) $(($(cat /var/run/pemo_agent.pid) - pid))"),
            "1 1 0\n");
  EXPECT_EQ(gateway_.run("rm /etc/pemo-agent/feature.json; pemo-agent >/tmp/third.log 2>&1; "
                         "echo $? $(grep -c 'No feature list' /tmp/third.log)"),
            "255 1\n");
}

}  // namespace
}  // namespace pemo
