// Firmware update and diagnostics against the simulated gateway.
#include <gtest/gtest.h>

#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

const std::string kOta = R"({"Device":{"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":{)";
const std::string kOtaEnd = "}}}}";

class FirmwareFlow : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    ASSERT_TRUE(gateway_.start());
  }
  // The application checks online before it upgrades.
  void check_online() { gateway_.get(kOta + R"("CheckSoftwareVersion":"")" + kOtaEnd); }
  std::string state() { return gateway_.get(kOta + R"("FWUpgradeState":0)" + kOtaEnd); }
  bool wait_for_state(const std::string& expected) {
    for (int k = 0; k < 20; ++k) {
      if (state().find(R"("FWUpgradeState": )" + expected) != std::string::npos) return true;
      std::this_thread::sleep_for(500ms);
    }
    return false;
  }
  test::SimGateway gateway_;
};

TEST_F(FirmwareFlow, CheckDownloadAndHandOff) {
  EXPECT_EQ(gateway_.get(kOta + R"("CheckSoftwareVersion":"","NewSoftwareVersion":"","Newfirmwaredate":"")" + kOtaEnd),
            R"({ "Device": { "DeviceInfo": { "X_Halvo_SoftwareUpdateOTA": { "CheckSoftwareVersion": "1", )"
            R"("NewSoftwareVersion": "1.0.13", "Newfirmwaredate": "2026-11-01" } } } })");
  EXPECT_NE(state().find(R"("FWUpgradeState": 1)"), std::string::npos);
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos);
  ASSERT_TRUE(wait_for_state("4"));
  for (int k = 0; k < 20 && !gateway_.called("do_fw_upgrade.sh"); ++k) std::this_thread::sleep_for(200ms);
  for (const char* call : {"get_online_fw http://fw.isp.example/HG-2400-1.0.13.bin",
                           "fw_upgrade fw_check 01ff", "halvo_led_ctrl upgrate", "do_fw_upgrade.sh"})
    EXPECT_TRUE(gateway_.called(call)) << call;
  EXPECT_EQ(gateway_.read("/sim/drop_caches"), "1\n");
  EXPECT_NE(gateway_.get(kOta + R"("UpdateSoftwareStatus":"")" + kOtaEnd).find("Firmware upgrading, Please wait !"),
            std::string::npos);
  // While flashing, the gateway is not rebooted underneath the flash script.
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_FALSE(gateway_.called("reboot"));
}

TEST_F(FirmwareFlow, RefusedImageEndsInFail) {
  gateway_.knob("fw_image", "wrong");
  check_online();
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  ASSERT_TRUE(wait_for_state("0"));
  EXPECT_EQ(gateway_.get(kOta + R"("UpdateSoftwareStatus":"")" + kOtaEnd),
            R"({ "Device": { "DeviceInfo": { "X_Halvo_SoftwareUpdateOTA": { "UpdateSoftwareStatus": "Fail" } } } })");
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_TRUE(gateway_.called("reboot")) << "reboot works again after a failed upgrade";
}

TEST_F(FirmwareFlow, SessionsKeepTheCachedPasswordDuringAnUpgrade) {
  gateway_.knob("fw_download", "hang");
  check_online();
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  gateway_.run("uci set system.main.pwd=changed && uci commit system");
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos) << "keyed with the cached 5927";
}

TEST_F(FirmwareFlow, TracerouteHopsOnTheSameConnection) {
  client::Session session = gateway_.connect();
  client::Reply reply;
  std::string error;
  ASSERT_TRUE(session.exchange(kTypeParamSet,
                               R"({"Device":{"IP":{"Diagnostics":{"TraceRoute":{"Host":"9.9.9.9",)"
                               R"("DiagnosticsState":"Requested","RouteHopsNumberOfEntries":0}}}}})",
                               "5927", reply, error));
  EXPECT_NE(reply.payload.find(R"("DiagnosticsState": "Complete", "RouteHopsNumberOfEntries": 4)"), std::string::npos)
      << reply.payload;
  ASSERT_TRUE(session.exchange(kTypeParamGet,
                               R"({"Device":{"IP":{"Diagnostics":{"TraceRoute":{"RouteHops":{"i1":{"Host":"",)"
                               R"("HostAddress":"","RTTimes":""},"i2":{"Host":""}}}}}}})",
                               "5927", reply, error));
  EXPECT_NE(reply.payload.find(R"("i1": { "Host": "gateway.isp.example", "HostAddress": "100.64.0.1", "RTTimes": "1.204" })"),
            std::string::npos) << reply.payload;
  EXPECT_NE(reply.payload.find(R"("i2": { "Host": "*" })"), std::string::npos);
  // Another connection has no hops of its own.
  EXPECT_NE(gateway_.get(R"({"Device":{"IP":{"Diagnostics":{"TraceRoute":{"RouteHops":{"i1":{"Host":"x"}}}}}}})")
                .find(R"("Host": "")"), std::string::npos);
}

TEST_F(FirmwareFlow, RoutesAndWanStatus) {
  EXPECT_NE(gateway_.get(R"({"Device":{"X_Halvo_Ext":{"Router":{"IPv4ForwardingNumberOfEntries":0,)"
                         R"("IPv4Forwarding":{"i2":{"GatewayIPAddress":"x","DestIPAddress":""}}}}}})")
                .find(R"("IPv4ForwardingNumberOfEntries": 3, "IPv4Forwarding": { "i2": { "GatewayIPAddress": "", )"
                      R"("DestIPAddress": "100.64.0.0" })"),
            std::string::npos);
  const std::string wan = R"({"Device":{"X_Halvo_Ext":{"DeviceInfo":{"WanInfo":{"WanStatus":"","Wan_PhyRate":0,)"
                          R"("Wan_Mac":"","Wan_RX_Rate":0}}}}})";
  EXPECT_NE(gateway_.get(wan).find(R"("WanStatus": "Enable", "Wan_PhyRate": 1000, "Wan_Mac": "02:10:18:aa:bb:01", )"
                                   R"("Wan_RX_Rate": 8000)"),
            std::string::npos);
  gateway_.knob("wan_link", "down");
  std::this_thread::sleep_for(2500ms);  // the watcher's next round
  EXPECT_NE(gateway_.get(wan).find(R"("WanStatus": "LinkDown")"), std::string::npos);
}

}  // namespace
}  // namespace pemo
