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

TEST_F(Gateway, WifiSetClosesTheSessionAndAppliesASecondLater) {
  ASSERT_TRUE(gateway_.start());
  client::Session session = gateway_.connect();
  client::Reply reply;
  std::string error;
  ASSERT_TRUE(session.exchange(kTypeParamSet, R"({"Device":{"WiFi":{}}})", "5927", reply, error));
  EXPECT_EQ(reply.header.type, kTypeParamSetReply);
  EXPECT_EQ(reply.payload, "{}");
  EXPECT_FALSE(session.receive("5927", reply, error)) << "the agent closes after the reply";
  EXPECT_FALSE(gateway_.called("uci_apply wireless"));
  std::this_thread::sleep_for(1500ms);
  EXPECT_TRUE(gateway_.called("uci_apply wireless"));
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

TEST_F(Gateway, StandInsFollowTheSwitchboardAndRefuseUnknownArguments) {
  ASSERT_TRUE(gateway_.start());
  EXPECT_EQ(gateway_.run("sys portspeed 4"), "Port 4: 1000M\n");
  gateway_.knob("wan_link", "down");
  EXPECT_EQ(gateway_.run("sys portspeed 4"), "Port 4: off-link\n");
  gateway_.knob("ping", "none");
  EXPECT_NE(gateway_.run("ping -c 6 9.9.9.9").find("6 packets transmitted, 0 packets received"),
            std::string::npos);

  // The lines a command adds to the call log, without those of the agent's WAN
  // probes, which its first connection (the start-up check) runs meanwhile.
  auto calls_of = [&](const std::string& command, int* status = nullptr) {
    const std::size_t before = gateway_.calls().size();
    gateway_.run(command, status);
    const std::vector<std::string> all = gateway_.calls();
    std::vector<std::string> own;
    for (std::size_t k = before; k < all.size(); ++k)
      if (all[k] != "ping -c 6 8.8.8.8" && all[k] != "sys portspeed 4") own.push_back(all[k]);
    return own;
  };
  int status = 0;
  EXPECT_EQ(calls_of("/usr/sbin/hv1905App 99 'a b'", &status),
            (std::vector<std::string>{"hv1905App 99 'a b'", "REFUSED hv1905App"}));
  EXPECT_NE(status, 0);
  EXPECT_EQ(calls_of("/usr/sbin/hv1905App 2 \"it's\""), std::vector<std::string>{"hv1905App 2 'it'\\''s'"});
  EXPECT_EQ(calls_of("/usr/sbin/hv1905App 2 'two\nlines'"), std::vector<std::string>{"hv1905App 2 'two\\nlines'"});
  EXPECT_EQ(gateway_.read("/tmp/1905ReturnValue"), "00\n");
}

TEST_F(Gateway, RebootStaysInsideAndStopLeavesNothing) {
  ASSERT_TRUE(gateway_.start());
  gateway_.run("reboot; romreset 1");
  EXPECT_TRUE(gateway_.called("reboot"));
  EXPECT_TRUE(gateway_.called("romreset 1"));
  std::string root = gateway_.path("/");
  gateway_.stop();
  EXPECT_FALSE(test::file_exists(root));
}

TEST_F(Gateway, HostListAndRename) {
  ASSERT_TRUE(gateway_.start());
  const std::string members =
      R"("PhysAddress":"","HostName":"","IPAddress":"","X_Halvo_HostType":0,"X_Halvo_CapabilityType":"",)"
      R"("X_Halvo_ConnectionType":"","X_Halvo_DeviceName":"","X_Halvo_PhyRate":0,"X_Halvo_SoftwareVersion":"",)"
      R"("X_Halvo_Neighbor":"","X_Halvo_DL_Rate":0,"X_Halvo_UL_Rate":0,"X_Halvo_Manufacturer":"",)"
      R"("X_Halvo_Channel_24G":0,"X_Halvo_Channel_5G":0,"X_Halvo_RSSI":0,"X_Halvo_Band":0)";
  std::string request = R"({"Device":{"Hosts":{"HostNumberOfEntries":0,"Host":{)";
  for (int k = 1; k <= 7; ++k) request += (k > 1 ? "," : "") + std::string(R"("i)") + std::to_string(k) + R"(":{)" + members + "}";
  request += "}}}}";
  const std::string reply = gateway_.get(request);
  EXPECT_NE(reply.find(R"("HostNumberOfEntries": 7)"), std::string::npos) << reply;
  EXPECT_NE(reply.find(R"("i6": { "PhysAddress": "3c:22:fb:77:88:99", "HostName": "kids-tablet")"),
            std::string::npos) << reply;
  EXPECT_EQ(reply.find("old-laptop"), std::string::npos);

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
