// The phone application's usual Wi-Fi flows against the simulated gateway.
#include <gtest/gtest.h>

#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class WifiFlow : public testing::Test {
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
  test::SimGateway gateway_;
};

TEST_F(WifiFlow, ReadBothNetworks) {
  // Each band choice is consumed by the member after it: "Enable" after a 5 GHz
  // SSID reads the 2.4 GHz radio again.
  EXPECT_EQ(gateway_.get(R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"24G","SSID":"","Enable":0},)"
                         R"("i2":{"CheckFreqBand":"5G","SSID":"","Enable":0}},)"
                         R"("X_Halvo_GuestAP":{"SSID":"","Enable":0}}}})"),
            R"({ "Device": { "WiFi": { "SSID": { "i1": { "CheckFreqBand": "24G", "SSID": "HomeGateway-2.4G", )"
            R"("Enable": 1 }, "i2": { "CheckFreqBand": "5G", "SSID": "HomeGateway-5G", "Enable": 1 } }, )"
            R"("X_Halvo_GuestAP": { "SSID": "HomeGateway-Guest", "Enable": 0 } } } })");
}

TEST_F(WifiFlow, RenameOnBothRadiosChangeA5GhzKeyAndApply) {
  wifi_set(R"j({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"Home Net 'x' $(id)"}}}}})j");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[0].ssid"), "Home Net 'x' $(id)");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[4].ssid"), "Home Net 'x' $(id).speed");
  EXPECT_EQ(gateway_.uci_get("wps.wps.conf"), "1");
  EXPECT_EQ(gateway_.read("/tmp/wifi5G_Apply"), "ath10\n");

  wifi_set(R"({"Device":{"WiFi":{"AccessPoint":{"i2":{"Security":{"CheckFreqBand":"5G","PreShareKey":"new;key`x`"}}}}}})");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[4].WPAPSKkey"), "new;key`x`");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[0].WPAPSKkey"), "homegateway24");
  std::this_thread::sleep_for(1500ms);
  EXPECT_TRUE(gateway_.called("uci_apply wireless"));
  for (const std::string& call : gateway_.calls())  // no value ever reached a command line
    EXPECT_EQ(call.find("new;key"), std::string::npos) << call;
}

TEST_F(WifiFlow, GuestNetworkForTwoAndAHalfHours) {
  wifi_set(R"({"Device":{"WiFi":{"X_Halvo_GuestAP":{"Enable":1,"Timer":{"Hours":2,"Minutes":30}}}}})");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[3].enable_guest_wlan"), "1");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[7].disabled"), "0");
  EXPECT_TRUE(gateway_.called("addGuestWifiBonus.sh 3 24G 2:30"));
  EXPECT_TRUE(gateway_.called("addGuestWifiBonus.sh 3 5G 2:30"));
  const std::string timer =
      gateway_.get(R"({"Device":{"WiFi":{"X_Halvo_GuestAP":{"Timer":{"Hours":0,"Minutes":0}}}}})");
  EXPECT_TRUE(timer.find(R"("Hours": 2, "Minutes": 29)") != std::string::npos ||
              timer.find(R"("Hours": 2, "Minutes": 30)") != std::string::npos)
      << timer;
}

TEST_F(WifiFlow, WpsStartAndPollUntilSuccess) {
  gateway_.knob("wps", "success");
  EXPECT_EQ(gateway_.set(R"({"Device":{"X_Halvo_ExtX":{}}})"), "status -5");
  EXPECT_EQ(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"WPS":{"Action":1}}}})"),
            R"({ "Device": { "X_Halvo_Ext": { "WPS": { "Action": 1 } } } })");
  EXPECT_TRUE(gateway_.called("halvo_WPS_ctrl WPS24G_GUI"));
  std::string status;
  for (int k = 0; k < 10 && status.find(R"("Status": 2)") == std::string::npos; ++k)
    status = gateway_.get(R"({"Device":{"X_Halvo_Ext":{"WPS":{"Status":0}}}})");
  EXPECT_NE(status.find(R"("Status": 2)"), std::string::npos) << status;
}

TEST_F(WifiFlow, NewConfigPasswordKeysTheNextSession) {
  EXPECT_EQ(gateway_.set(R"({"Device":{"LANConfigSecurity":{"ConfigPassword":"n\"ew pw"}}})"),
            R"({ "Device": { "LANConfigSecurity": { "ConfigPassword": "n\"ew pw" } } })");
  EXPECT_TRUE(gateway_.called("uci_apply system"));
  client::Reply reply = gateway_.exchange(kTypeParamGet, R"({"Device":{"LANConfigSecurity":{"ConfigPassword":""}}})",
                                          "n\"ew pw");
  EXPECT_EQ(reply.payload, R"({ "Device": { "LANConfigSecurity": { "ConfigPassword": "n\"ew pw" } } })");
  reply = gateway_.exchange(kTypeParamGet, R"({"Device":{"LANConfigSecurity":{"ConfigPassword":""}}})", "5927");
  EXPECT_LE(reply.status(), 0);
}

TEST_F(WifiFlow, GuestSetRefusedWhileWifiIsBeingSet) {
  gateway_.write("/tmp/wifi5G_Status", "wifi5GisSetting\n");
  EXPECT_EQ(gateway_.set(R"({"Device":{"WiFi":{"X_Halvo_GuestAP":{"Enable":1}}}})"), "status -28");
  EXPECT_EQ(gateway_.uci_get("wireless.@wifi-iface[3].enable_guest_wlan"), "0");
}

}  // namespace
}  // namespace pemo
