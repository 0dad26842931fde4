// The agent binary, started as on the gateway, talked to over TCP port 263.
#include <gtest/gtest.h>
#include <unistd.h>

#include "pemo-cli/client.h"
#include "support/agent_process.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using client::Reply;
using client::Session;

class Agent : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    test::seed_system_package("5927");
    test::write_file("/etc/pemo-agent/feature.json",
                     test::read_file(PEMO_SOURCE_DIR "/data/feature.json"));
  }
  Session connect() {
    std::string error;
    Session s = Session::connect("127.0.0.1", kServicePort, std::chrono::seconds(5), error);
    EXPECT_TRUE(s.valid()) << error;
    return s;
  }
  test::AgentProcess agent_;
};

TEST_F(Agent, HoldsASessionAndRefusesAWrongPassword) {
  ASSERT_TRUE(agent_.start());
  ASSERT_TRUE(agent_.wait_ready());
  Session session = connect();
  Reply reply;
  std::string error;
  ASSERT_TRUE(session.exchange(kTypeSysQuery, client::kFeatureRequest, "5927", reply, error)) << error;
  EXPECT_EQ(reply.header.type, kTypeSysQueryReply);
  EXPECT_NE(reply.payload.find(R"("MagicNum": "Q5190")"), std::string::npos) << reply.payload;
  ASSERT_TRUE(session.exchange(kTypeParamGet, R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})",
                               "5927", reply, error));
  EXPECT_EQ(reply.payload, R"({ "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
  ASSERT_TRUE(session.exchange(kTypeParamSet, R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{}}}}})",
                               "5927", reply, error));
  EXPECT_EQ(reply.header.type, kTypeParamSetReply);
  EXPECT_EQ(reply.status(), 0);

  // Long enough that the garbled text all but surely holds a control byte.
  const std::string request =
      R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"","Enable":0},"i2":{"SSID":"","Enable":0}},)"
      R"("Radio":{"i1":{"Channel":0},"i2":{"Channel":0}},"RadioNumberOfEntries":0}}})";
  ASSERT_TRUE(session.exchange(kTypeParamGet, request, "wrong", reply, error));
  EXPECT_TRUE(reply.status() == kStatusBadPassword || reply.status() == kStatusBadJson)
      << reply.status();
  EXPECT_EQ(reply.header.type, kTypeParamGet);
}

TEST_F(Agent, WritesItsPidFileAndManufacturingInfo) {
  ASSERT_TRUE(agent_.start({"-d", "3"}));
  ASSERT_TRUE(agent_.wait_ready());
  EXPECT_EQ(test::read_file("/var/run/pemo_agent.pid"), std::to_string(agent_.pid()) + "\n");
  EXPECT_TRUE(test::file_exists("/tmp/mfsh.info"));
}

TEST_F(Agent, SecondInstanceFailsToBind) {
  ASSERT_TRUE(agent_.start());
  ASSERT_TRUE(agent_.wait_ready());
  test::AgentProcess second;
  ASSERT_TRUE(second.start({}, "/tmp/second.log"));
  const pid_t second_pid = second.pid();
  EXPECT_EQ(second.wait_exit(), 1);
  EXPECT_NE(test::read_file("/tmp/second.log").find("bind"), std::string::npos);
  // Each start writes its own id, the failed one too.
  EXPECT_EQ(test::read_file("/var/run/pemo_agent.pid"), std::to_string(second_pid) + "\n");
}

TEST_F(Agent, MissingFeatureListStopsStartUpWith255) {
  unlink("/etc/pemo-agent/feature.json");
  ASSERT_TRUE(agent_.start());
  EXPECT_EQ(agent_.wait_exit(), 255);
  EXPECT_NE(test::read_file("/tmp/agent.log").find("No feature list"), std::string::npos);
  std::string error;
  EXPECT_FALSE(Session::connect("127.0.0.1", kServicePort, std::chrono::seconds(1), error).valid());
}

}  // namespace
}  // namespace pemo
