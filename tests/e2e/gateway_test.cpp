// The agent in the simulated gateway, driven as the phone application drives it.
#include "support/gateway.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/agent_process.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class Gateway : public testing::Test {
 protected:
  void SetUp() override { PEMO_REQUIRE_SANDBOX(); }
  test::SimGateway gateway_;
};

TEST_F(Gateway, StartsQuicklyHoldsASessionAndRecordsItsStartUp) {
  auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(gateway_.start()) << test::read_file("/tmp/gateway.log");
  auto started = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(started, 1s);

  client::Reply reply = gateway_.exchange(kTypeSysQuery, std::string(client::kFeatureRequest));
  EXPECT_NE(reply.payload.find(R"("MagicNum": "Q5190")"), std::string::npos) << reply.status();
  EXPECT_EQ(gateway_.get(R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})"),
            R"({ "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
  EXPECT_TRUE(gateway_.called("sys mfsh"));
  EXPECT_NE(gateway_.read("/tmp/mfsh.info").find("Serial Number: "), std::string::npos);
  EXPECT_EQ(gateway_.read("/var/run/pemo_agent.pid").empty(), false);
}

TEST_F(Gateway, LogLevelGatesTheSystemLog) {
  ASSERT_TRUE(gateway_.start({"-d", "6"}));
  gateway_.get(R"({"Device":{}})");
  std::this_thread::sleep_for(200ms);
  std::string log = gateway_.read("/var/log/messages");
  EXPECT_NE(log.find("tcp_handler : Recv : "), std::string::npos) << log;  // info
  EXPECT_EQ(log.find("tcp_handler : ret "), std::string::npos);             // debug
  gateway_.stop();

  ASSERT_TRUE(gateway_.start({"-d", "0"}));
  gateway_.get(R"({"Device":{}})");
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(gateway_.read("/var/log/messages").find("pemo-agent"), std::string::npos);
}

// The stand-ins follow the switchboard and log what they refuse: the hostile
// tests count on both.
TEST_F(Gateway, StandInsFollowTheSwitchboardAndLogRefusals) {
  ASSERT_TRUE(gateway_.start());
  gateway_.knob("wan_link", "down");
  EXPECT_EQ(gateway_.run("sys portspeed 4"), "Port 4: off-link\n");
  int status = 0;
  gateway_.run("/usr/sbin/hv1905App 99 'a b'", &status);
  EXPECT_NE(status, 0);
  EXPECT_TRUE(gateway_.called("REFUSED hv1905App"));
  gateway_.run("reboot");
  EXPECT_TRUE(gateway_.called("reboot"));
  const std::string root = gateway_.path("/");
  gateway_.stop();
  EXPECT_FALSE(test::file_exists(root)) << "a stopped gateway leaves nothing";
}

// A rename reaches the probe database and the probe library, through real processes.
TEST_F(Gateway, RenameReachesTheDatabaseAndTheProbeLibrary) {
  ASSERT_TRUE(gateway_.start());
  EXPECT_EQ(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"DevNameChange":{"HostMAC":"3c:22:fb:77:88:99","Name":"Den TV"}}}})")
                .substr(0, 1), "{");
  EXPECT_EQ(gateway_.sql("SELECT DevName FROM Device WHERE DevMac='3c:22:fb:77:88:99';"),
            std::vector<std::string>{"Den TV"});
  EXPECT_TRUE(gateway_.called("lnwt_updtae_netmap_record 3c:22:fb:77:88:99 2 'Den TV' (null)"));
}

TEST_F(Gateway, HostReadsWhileTheProbeDaemonWrites) {
  ASSERT_TRUE(gateway_.start());
  // Another process writes the table over and over, as the probe daemon does.
  std::thread daemon([&] {
    gateway_.run("i=0; while [ $i -lt 300 ] && [ ! -e /tmp/stop ]; do i=$((i+1)); "
                 "sqlite3 /tmp/lanwatch.db \"BEGIN IMMEDIATE; UPDATE Device SET PhyRate='$i' "
                 "WHERE HostName='desktop-pc'; COMMIT;\"; done");
  });
  std::vector<std::thread> readers;
  std::atomic<int> good{0};
  for (int c = 0; c < 4; ++c) {
    readers.emplace_back([&] {
      client::Session session = gateway_.connect();
      for (int k = 0; k < 10; ++k) {
        client::Reply reply;
        std::string error;
        if (session.exchange(kTypeParamGet,
                             R"({"Device":{"Hosts":{"HostNumberOfEntries":0,"Host":{"i4":{"HostName":""}}}}})",
                             "5927", reply, error) &&
            reply.payload.find(R"("HostNumberOfEntries": 7, "Host": { "i4": { "HostName": "desktop-pc")") !=
                std::string::npos)
          ++good;
      }
    });
  }
  for (auto& r : readers) r.join();
  gateway_.write("/tmp/stop", "");
  daemon.join();
  EXPECT_NE(gateway_.sql("SELECT PhyRate FROM Device WHERE HostName='desktop-pc';"),
            std::vector<std::string>{"1000"});
  EXPECT_EQ(good.load(), 40);
}

// The agent binary alone, started as on the gateway.
class Agent : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    test::seed_system_package("5927");
    test::write_file("/etc/pemo-agent/feature.json", test::read_file(PEMO_SOURCE_DIR "/data/feature.json"));
  }
  test::AgentProcess agent_;
};

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
  EXPECT_FALSE(client::Session::connect("127.0.0.1", kServicePort, std::chrono::seconds(1), error).valid());
}

}  // namespace
}  // namespace pemo
