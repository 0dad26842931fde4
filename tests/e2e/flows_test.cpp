// The phone application's flows against the simulated gateway, one or two per
// subsystem: what only real processes, files and timing can show.
#include <gtest/gtest.h>

#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

const std::string kOta = R"({"Device":{"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":{)";
const std::string kOtaEnd = "}}}}";

class Flow : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    ASSERT_TRUE(gateway_.start());
  }
  // A Wi-Fi set: the agent answers "{}" and closes, and applies a second later.
  void wifi_set(const std::string& text) {
    client::Reply reply = gateway_.exchange(kTypeParamSet, text);
    ASSERT_EQ(reply.payload, "{}") << text;
  }
  std::string state() { return gateway_.get(kOta + R"("FWUpgradeState":0)" + kOtaEnd); }
  bool wait_for_state(const std::string& expected) {
    return test::eventually([&] { return state().find(R"("FWUpgradeState": )" + expected) != std::string::npos; });
  }
  test::SimGateway gateway_;
};
using WifiFlow = Flow;
using ControlFlow = Flow;
using QuickSetupFlow = Flow;
using FirmwareFlow = Flow;

TEST_F(WifiFlow, RenameOnBothRadiosAndApply) {
  wifi_set(R"j({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"Home Net 'x' $(id)"}}}}})j");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[0].ssid"), "Home Net 'x' $(id)");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[4].ssid"), "Home Net 'x' $(id).speed");

  EXPECT_TRUE(test::eventually([&] { return gateway_.called("uci_apply wireless"); }));
  for (const std::string& call : gateway_.calls())  // no value ever reached a command line
    EXPECT_EQ(call.find("Home Net"), std::string::npos) << call;
}

// The host snapshot is the connection's: the add that follows it on the same
// connection names the snapshot's host, and enabling the rule reloads the rules.
TEST_F(ControlFlow, ParentalRuleAddedFromTheConnectionsSnapshotAndEnabled) {
  client::Session session = gateway_.connect();
  for (const auto& [type, text] :
       {std::pair{kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})"},
        std::pair{kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i5":{"X_Halvo_AddPcpRule":"1"}}}}})"},
        std::pair{kTypeParamSet, R"({"Device":{"X_Halvo_Ext":{"ParentalControl":{"i1":{"Enable":"1"}}}}})"}})
    EXPECT_GT(test::exchange(session, type, text).status(), 0) << text;
  EXPECT_EQ(gateway_.uci_get("parental.rule1.src_mac"), "3c:22:fb:44:55:66");
  EXPECT_TRUE(gateway_.called("uci_apply parental"));
}

// The first-run link query runs through the platform's tool; a WAN change is
// answered with status 0 and applied a second later, ending the first run.
TEST_F(QuickSetupFlow, FirstRunWithPppoe) {
  EXPECT_EQ(gateway_.get(R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"WanHWConnection":0}}}})"),
            R"({ "Device": { "X_Halvo_Ext": { "Tovi123": { "WanHWConnection": 1 } } } })");
  EXPECT_EQ(gateway_.set(R"j({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{"PPPoE":{"Account":"jane@isp","Password":"s3cr'et $(x)"}}}}}})j"),
            "status 0");
  EXPECT_EQ(gateway_.uci_get("network.wan.password"), "s3cr'et $(x)");
  EXPECT_FALSE(gateway_.called("uci_apply network"));
  EXPECT_TRUE(test::eventually([&] { return gateway_.called("uci_apply network"); }));
  EXPECT_EQ(gateway_.uci_get("system.main.Tovi123"), "1");
}

TEST_F(FirmwareFlow, CheckDownloadAndHandOff) {
  EXPECT_EQ(gateway_.get(kOta + R"("CheckSoftwareVersion":"","NewSoftwareVersion":"","Newfirmwaredate":"")" + kOtaEnd),
            R"({ "Device": { "DeviceInfo": { "X_Halvo_SoftwareUpdateOTA": { "CheckSoftwareVersion": "1", )"
            R"("NewSoftwareVersion": "1.0.13", "Newfirmwaredate": "2026-11-01" } } } })");
  EXPECT_NE(state().find(R"("FWUpgradeState": 1)"), std::string::npos);
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos);
  ASSERT_TRUE(wait_for_state("4"));
  test::eventually([&] { return gateway_.called("do_fw_upgrade.sh"); });
  for (const char* call :
       {"get_online_fw http://fw.isp.example/HG-2400-1.0.13.bin", "fw_upgrade fw_check 01ff", "do_fw_upgrade.sh"})
    EXPECT_TRUE(gateway_.called(call)) << call;
  // While flashing, the gateway is not rebooted underneath the flash script.
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_FALSE(gateway_.called("reboot"));
}

TEST_F(FirmwareFlow, SessionsKeepTheCachedPasswordDuringAnUpgrade) {
  gateway_.knob("fw_download", "hang");
  gateway_.get(kOta + R"("CheckSoftwareVersion":"")" + kOtaEnd);
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  gateway_.run("uci set system.main.pwd=changed && uci commit system");
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos) << "keyed with the cached 5927";
}

}  // namespace
}  // namespace pemo
